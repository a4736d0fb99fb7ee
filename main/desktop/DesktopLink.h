// The connection between the session and its desktop process.
#pragma once

#include <QByteArray>
#include <QSocketNotifier>
#include <functional>
#include <memory>

#include "base/Json.h"

namespace vantora {

// Messages in both directions over one connected stream socket. Each is a JSON object with a string "type", written as
// its length (32 bits, little endian) and its compact text. Sending never blocks: what the other side has not read yet
// waits in memory, up to kMaxWaitingBytes; beyond that the other side counts as stuck and the connection as lost.
// Thread: that of its creation. Owner: DesktopProcess in the session, runDesktopProcess in the desktop process.
class DesktopLink {
 public:
  static constexpr qint64 kMaxMessageBytes = 64 * 1024 * 1024;
  static constexpr qint64 kMaxWaitingBytes = 96 * 1024 * 1024;

  struct Events {
    std::function<void(const JsonObject& message)> message;
    // The other side is gone, stuck or sent malformed data; called once, from the event loop; no calls follow.
    std::function<void()> lost;
  };

  // Takes over `descriptor`.
  DesktopLink(int descriptor, Events events);
  ~DesktopLink();
  DesktopLink(const DesktopLink&) = delete;
  DesktopLink& operator=(const DesktopLink&) = delete;

  // Dropped once the connection is lost, or if longer than kMaxMessageBytes.
  void send(const JsonObject& message);
  // The other side is to end once it has taken what was sent; its replies arrive until this object is destroyed.
  void endSending();

 private:
  void read();
  bool receive();
  void deliver();
  void write();
  void lose();

  Events events_;
  const int descriptor_;
  QByteArray received_;
  QByteArray waiting_;  // To be sent.
  bool lost_ = false;
  std::unique_ptr<QSocketNotifier> readable_;
  std::unique_ptr<QSocketNotifier> writable_;
};

}  // namespace vantora
