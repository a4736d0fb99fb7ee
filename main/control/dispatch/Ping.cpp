#include "main/control/dispatch/Ping.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void bindPing(ControlDispatcher& dispatcher, ControlSender& sender, const Scheduler& scheduler) {
  dispatcher.on("ping"_L1, [&](const ControlRequest& request) {
    const qint64 now = scheduler.unixMilliseconds();
    sender.reply(
        request.origin,
        {{u"type"_s, u"pong"_s}, {u"t0"_s, integerField(request.body, "t0"_L1).value_or(now)}, {u"hostNow"_s, now}});
    return Handled::yes;
  });
}

}  // namespace vantora
