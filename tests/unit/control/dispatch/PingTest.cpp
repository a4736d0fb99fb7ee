#include <gtest/gtest.h>

#include "main/control/dispatch/Ping.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeScheduler.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(PingTest, answersWithTheTimesOfTheViewerAndTheHostAndNoAcknowledgement) {
  fakes::FakeScheduler scheduler;
  scheduler.setUnixBase(5s);
  fakes::FakeControlSender sender;
  sender.reliable.exists = false;
  ControlDispatcher dispatcher(sender, scheduler, [](Gate) { return false; });
  bindPing(dispatcher, sender, scheduler);
  for (const char* request : {R"({"type":"ping","t0":77,"req":1})", R"({"type":"ping","t0":1.5})"}) {
    dispatcher.dataChannelDidReceiveMessage(ControlChannel::control, request, false);
  }
  EXPECT_EQ(sender.sent,
            (QList<fakes::FakeControlSender::Sent>{
                {ControlChannel::control, {{u"type"_s, u"pong"_s}, {u"t0"_s, 77}, {u"hostNow"_s, 5000}}},
                {ControlChannel::control, {{u"type"_s, u"pong"_s}, {u"t0"_s, 5000}, {u"hostNow"_s, 5000}}}}));
}

}  // namespace
}  // namespace vantora
