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

// Main thread. Events arrive there too, in order, never after the object was destroyed. Each state except connecting is
// reported once, including the one at construction, and before the messages received in it.
class DataChannel {
 public:
  struct Events {
    std::function<void(ChannelState)> stateChanged;
    std::function<void(const QByteArray& data, bool binary)> message;
  };
  // Maximum of received bytes that wait for the main thread; each message counts a little more than its length. A
  // viewer that exceeds this by sending faster than the messages are handled loses the channel.
  static constexpr qint64 kMaxPendingBytes = 64LL * 1024 * 1024;

  virtual ~DataChannel() = default;
  virtual ChannelState state() const = 0;
  virtual void setEvents(Events events) = 0;
  // False, with the message dropped, if the channel is not open, if too much waits to be sent, or if the message is
  // longer than the maximum negotiated by the other side (which is logged).
  virtual bool send(const QByteArray& data, bool binary) = 0;
  // Maximum size of a message in bytes, as negotiated by the other side.
  virtual quint64 maxMessageSize() const = 0;
  // Bytes accepted by send() that have not left yet.
  virtual quint64 bufferedAmount() const = 0;
  virtual void close() = 0;
};

}  // namespace vantora
