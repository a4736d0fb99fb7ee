// The process that shows the host on the desktop: tray item, windows, notifications, clipboard.
#pragma once

#include <QProcess>
#include <chrono>
#include <functional>
#include <memory>

#include "base/Json.h"
#include "base/Scheduler.h"
#include "main/desktop/DesktopLink.h"

namespace vantora {

// Starts the program a second time as its own desktop process and keeps it running. Why a process of its own: a toolkit
// connected to the display ends its process when the display goes away, and may block for seconds on an application
// that does not answer; neither may touch the session. It is started again when it ended, or was ended because it
// answered no "ping" for kTimeout: after a second at first and up to half a minute later when it keeps ending. It ends
// with this process, however that ends. Thread: main. Owner: HostAppDelegate.
class DesktopProcess {
 public:
  // Names the descriptor of the line in the environment of the desktop process.
  static constexpr const char* kLinkVariable = "VANTORA_DESKTOP_LINK";

  static constexpr std::chrono::milliseconds kLookStep{5000};
  static constexpr std::chrono::milliseconds kTimeout{20000};

  struct Events {
    // The desktop process is there and knows nothing yet.
    std::function<void()> connected;
    std::function<void(const JsonObject& message)> message;
    // It is gone; what it was asked will not be answered.
    std::function<void()> disconnected;
  };

  // `program` is the executable to start. `scheduler` must outlive this object.
  DesktopProcess(Scheduler& scheduler, QString program, Events events);
  // Ends the process, waiting at most half a second for it to go by itself.
  ~DesktopProcess();
  DesktopProcess(const DesktopProcess&) = delete;
  DesktopProcess& operator=(const DesktopProcess&) = delete;

  void start();
  // Dropped while there is no desktop process.
  void send(const JsonObject& message);

 private:
  void take(const JsonObject& message);
  void look();
  void ended();
  void stop();

  Scheduler& scheduler_;
  const QString program_;
  Events events_;
  std::chrono::milliseconds delay_;
  std::chrono::nanoseconds startedAt_{};
  std::unique_ptr<Timer> restart_;
  std::unique_ptr<Timer> looks_;
  int unanswered_ = 0;
  std::unique_ptr<DesktopLink> link_;
  std::unique_ptr<QProcess> process_;
};

}  // namespace vantora
