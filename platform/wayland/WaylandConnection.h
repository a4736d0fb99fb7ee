// A connection to a Wayland compositor, in Qt's event loop.
#pragma once

#include <wayland-client.h>

#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>
#include <chrono>
#include <functional>

#include "platform/TextPipes.h"

namespace vantora {

// Never waits for the compositor: the socket is watched, and what it does not take yet is sent later. Tries again after
// the compositor's end, with pauses that become longer. Thread: one with a Qt event loop.
class WaylandConnection {
 public:
  struct Handlers {
    std::function<void(wl_display* display)> opened;
    // The objects of the connection may be released, but no request is sent any more.
    std::function<void()> lost;
  };
  static constexpr std::chrono::milliseconds kFirstPause{500};
  static constexpr std::chrono::milliseconds kLastPause{30'000};

  // `socket`: absolute path. The handlers are called from the event loop.
  WaylandConnection(const QString& socket, Handlers handlers);
  ~WaylandConnection();
  WaylandConnection(const WaylandConnection&) = delete;
  WaylandConnection& operator=(const WaylandConnection&) = delete;

  // Sends pending requests; to be called after requests outside of events.
  void flush();
  // Closes the connection soon and opens another one after a pause; may be called from an event.
  void reopen();
  // The compositor is of use: the next pause is short again.
  void confirm() { pause_ = kFirstPause; }

 private:
  void open();
  void tryAgain();
  void lose();
  void receive();

  const QByteArray socket_;
  const Handlers handlers_;
  QObject context_;
  QTimer again_;
  std::chrono::milliseconds pause_ = kFirstPause;
  wl_display* display_ = nullptr;
  WatchedDescriptor readable_;
  WatchedDescriptor writable_;
};

}  // namespace vantora
