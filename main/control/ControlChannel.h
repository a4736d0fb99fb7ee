// Names of the two control channels and the interface that sends on them.
#pragma once

#include <QLatin1StringView>
#include <QtGlobal>

#include "base/Json.h"

namespace vantora {

enum class ControlChannel { control, reliable };

// "control" or "control_reliable".
QLatin1StringView labelOf(ControlChannel channel);

// Destination of a reply that may be ready only later.
struct ReplyAddress {
  ControlChannel origin = ControlChannel::reliable;
  quint64 connection = 0;
};

// Where control messages to the viewer go. Main thread.
class ControlSender {
 public:
  virtual ~ControlSender() = default;
  virtual bool exists(ControlChannel channel) const = 0;
  virtual bool isOpen(ControlChannel channel) const = 0;
  // Sends `message` as one text message; dropped when the channel is absent or not open.
  virtual void send(ControlChannel channel, const JsonObject& message) = 0;
  // Bytes of the longest message that the viewer accepts; a longer one is dropped. 0 when the channel is absent.
  virtual quint64 maxMessageSize(ControlChannel channel) const = 0;
  // Bytes queued on the channel that have not been transmitted yet.
  virtual quint64 bufferedAmount(ControlChannel channel) const = 0;

  // Number of the viewer's connection. A reply to a request of an earlier connection is dropped.
  virtual quint64 connection() const { return 0; }

  // "control_reliable" when it exists, else the channel that the request came from.
  void reply(ControlChannel origin, const JsonObject& message) {
    send(exists(ControlChannel::reliable) ? ControlChannel::reliable : origin, message);
  }
  // The same for a delayed reply: dropped when the connection of the request is gone.
  void reply(const ReplyAddress& to, const JsonObject& message) {
    if (to.connection == connection()) reply(to.origin, message);
  }
};

// The sender that outlives peer connections: forwards to the channels of the current connection, drops everything while
// there is no connection. Thread: main. Owner: Host.
class ForwardingControlSender final : public ControlSender {
 public:
  // `target` may be null; it must call set(nullptr) before it is destroyed.
  void set(ControlSender* target) {
    target_ = target;
    ++connection_;
  }
  bool exists(ControlChannel channel) const override { return target_ && target_->exists(channel); }
  bool isOpen(ControlChannel channel) const override { return target_ && target_->isOpen(channel); }
  void send(ControlChannel channel, const JsonObject& message) override {
    if (target_) target_->send(channel, message);
  }
  quint64 maxMessageSize(ControlChannel channel) const override {
    return target_ ? target_->maxMessageSize(channel) : 0;
  }
  quint64 bufferedAmount(ControlChannel channel) const override {
    return target_ ? target_->bufferedAmount(channel) : 0;
  }
  quint64 connection() const override { return connection_; }

 private:
  ControlSender* target_ = nullptr;
  quint64 connection_ = 0;
};

}  // namespace vantora
