#include "main/telemetry/DiagnosticsRequests.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void DiagnosticsRequests::handleRun(ControlChannel origin) {
  if (!report_ || pending_.size() >= kMaxPending) return;
  const auto entry = pending_.insert(pending_.end(), Pending{.origin = origin, .task = nullptr});
  entry->task = report_([this, entry](const JsonObject& report) {
    const ControlChannel channel = entry->origin;
    pending_.erase(entry);
    sender_.send(channel, {{u"type"_s, u"diagnostics_result"_s}, {u"payload"_s, report}});
  });
}

void DiagnosticsRequests::channelClosed(ControlChannel channel) {
  pending_.remove_if([channel](const Pending& pending) { return pending.origin == channel; });
}

void bindDiagnosticsMessages(ControlDispatcher& dispatcher, DiagnosticsRequests& requests) {
  dispatcher.on("diagnostics_run"_L1, [&requests](const ControlRequest& request) {
    requests.handleRun(request.origin);
    return Handled::yes;
  });
}

}  // namespace vantora
