// One WebRTC data channel as the session sees it.
#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

namespace vantora {

enum class ChannelState { connecting = 0, open = 1, closing = 2, closed = 3 };

struct DataChannelConfig {
  bool ordered = true;
  std::optional<int> maxPacketLifeTimeMs;
};

// Main thread. Events arrive there too, in order, never after the object was destroyed. Each state but connecting is
// reported once, also one that the channel had when this object was made, and before the messages that came in it.
class DataChannel {
 public:
  struct Events {
    std::function<void(ChannelState)> stateChanged;
    std::function<void(const QByteArray& data, bool binary)> message;
  };
  // Received bytes that may wait for the main thread, each message counted with a little more than its length; a viewer
  // that sends faster than they are handled beyond this loses the channel.
  static constexpr qint64 kMaxPendingBytes = 64LL * 1024 * 1024;

  virtual ~DataChannel() = default;
  virtual ChannelState state() const = 0;
  virtual void setEvents(Events events) = 0;
  // False, with the message dropped, when the channel is not open, when too much waits to be sent, or when the message
  // is longer than what the other side said it takes (a line in the log says so).
  virtual bool send(const QByteArray& data, bool binary) = 0;
  // Bytes of the longest message that the other side said it takes.
  virtual quint64 maxMessageSize() const = 0;
  // Bytes accepted by send() that have not left yet.
  virtual quint64 bufferedAmount() const = 0;
  virtual void close() = 0;
};

}  // namespace vantora
