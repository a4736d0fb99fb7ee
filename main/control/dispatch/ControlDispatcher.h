// Dispatches every message of both control channels.
#pragma once

#include <QByteArray>
#include <functional>
#include <map>
#include <optional>

#include "base/Json.h"
#include "base/Scheduler.h"
#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlMessageTable.h"

namespace vantora {

// Latency echo of a request that carried a "timestamp", in milliseconds.
struct LatencyEcho {
  double inputLatency = 0;
  double hostTimestamp = 0;
};

struct ControlRequest {
  const ControlMessageRow& row;
  ControlChannel origin;
  const JsonObject& body;
  std::optional<LatencyEcho> latency;
};

// What a handler did: only a handled message is acknowledged. A handler that answers later gets its acknowledgement
// from acknowledgeLater() and calls it after the answer.
enum class Handled { yes, later, ignored };

// Decodes a message, finds its row, tests the gate, runs the handler, acknowledges. Nothing else decides rights.
// Thread: main. Owner: Host.
class ControlDispatcher {
 public:
  using Handler = std::function<Handled(const ControlRequest&)>;
  using Refusal = std::function<void(const ControlRequest&)>;
  // Whether a gate is open.
  using Gates = std::function<bool(Gate)>;

  // `sender` and `scheduler` must outlive this object.
  ControlDispatcher(ControlSender& sender, const Scheduler& scheduler, Gates allowed)
      : sender_(sender), scheduler_(scheduler), allowed_(std::move(allowed)) {}

  // Installs the handler of a type in the table; a type without one is ignored like an unknown one.
  void on(QLatin1StringView type, Handler handler);
  // Installs the handler of a type while its gate is closed; without it the message is ignored.
  void onRefused(QLatin1StringView type, Refusal refusal);
  void onBinary(std::function<void(const QByteArray&)> handler) { binary_ = std::move(handler); }

  // Entry point for every message of either channel. Malformed ones are dropped silently.
  void dataChannelDidReceiveMessage(ControlChannel origin, const QByteArray& data, bool binary);

  // The acknowledgement of a request, as its row says, for a handler that returns Handled::later: must be called before
  // the end of this object; does nothing when the viewer's connection was replaced meanwhile.
  [[nodiscard]] std::function<void()> acknowledgeLater(const ControlRequest& request);

 private:
  // Sends {"type":"ack"}, with "req" copied unchanged when the request carried one.
  void sendAck(ControlChannel channel, const JsonObject& request);

  ControlSender& sender_;
  const Scheduler& scheduler_;
  Gates allowed_;
  std::map<QLatin1StringView, Handler> handlers_;
  std::map<QLatin1StringView, Refusal> refusals_;
  std::function<void(const QByteArray&)> binary_;
};

}  // namespace vantora
