#include "main/control/dispatch/ControlDispatcher.h"

#include <cassert>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

}  // namespace

void ControlDispatcher::on(QLatin1StringView type, Handler handler) {
  assert(findControlMessage(QString(type)));  // Caught here as a programming error: the handler would never run.
  handlers_[type] = std::move(handler);
}

void ControlDispatcher::onRefused(QLatin1StringView type, Refusal refusal) {
  assert(findControlMessage(QString(type)));
  refusals_[type] = std::move(refusal);
}

void ControlDispatcher::dataChannelDidReceiveMessage(ControlChannel origin, const QByteArray& data, bool binary) {
  const double entrySeconds = scheduler_.absoluteSeconds();
  if (binary) {
    if (binary_) binary_(data);
    return;
  }
  const auto body = parseJsonObject(data);
  if (!body) return;
  const auto type = stringField(*body, "type"_L1);
  if (!type) return;
  const ControlMessageRow* const row = findControlMessage(*type);
  if (!row) return;
  ControlRequest request{.row = *row, .origin = origin, .body = *body, .latency = std::nullopt};
  if (const auto timestamp = numberField(*body, "timestamp"_L1)) {
    const double hostTimestamp = entrySeconds * 1000;
    request.latency = LatencyEcho{.inputLatency = hostTimestamp - *timestamp, .hostTimestamp = hostTimestamp};
  }

  if (row->gate != Gate::none && !allowed_(row->gate)) {
    if (const auto refusal = refusals_.find(row->type); refusal != refusals_.end()) refusal->second(request);
    return;
  }
  const auto handler = handlers_.find(row->type);
  if (handler == handlers_.end()) return;
  const Handled handled = handler->second(request);
  if (handled == Handled::yes) acknowledgeLater(request)();
}

std::function<void()> ControlDispatcher::acknowledgeLater(const ControlRequest& request) {
  if (request.row.acknowledgement == Acknowledgement::never) return [] {};
  // Only what is copied is kept: the rest of the request may be large.
  JsonObject copied;
  const auto req = request.body.find("req"_L1);
  if (request.row.acknowledgement == Acknowledgement::withRequest && req != request.body.end()) {
    copied.insert(u"req"_s, *req);
  }
  return [this, origin = request.origin, connection = sender_.connection(), copied = std::move(copied)] {
    if (sender_.connection() == connection) sendAck(origin, copied);
  };
}

void ControlDispatcher::sendAck(ControlChannel channel, const JsonObject& request) {
  JsonObject ack{{u"type"_s, u"ack"_s}};
  if (const auto req = request.find("req"_L1); req != request.end()) ack.insert(u"req"_s, *req);
  sender_.send(channel, ack);
}

}  // namespace vantora
