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

// The program of the desktop process: what the host's own file carries, so that this one file can be copied and
// replaced; else, where the system permits no programs in memory, the file beside the host's own in `folder`, or in its
// ../libexec.
QString desktopProgram(const QString& folder);

// Starts the desktop process and keeps it running. Why a separate process: a toolkit connected to the display ends its
// process when the display disappears, and may block for seconds on an application that does not respond; neither may
// affect the session. It has a program of its own, because the session needs none of the toolkit's libraries, and the
// desktop process none of the session's. It is restarted when it ends or is killed because it answered no "ping" for
// kTimeout: after one second at first, and after up to 30 seconds when it keeps ending. It ends with this process,
// however this one ends. Thread: main. Owner: HostAppDelegate.
class DesktopProcess {
 public:
  // Environment variable with the descriptor of the connection, set for the desktop process.
  static constexpr const char* kLinkVariable = "VANTORA_DESKTOP_LINK";

  static constexpr std::chrono::milliseconds kPingInterval{5000};
  static constexpr std::chrono::milliseconds kTimeout{20000};

  struct Events {
    // The desktop process was started and has no state yet.
    std::function<void()> connected;
    std::function<void(const JsonObject& message)> message;
    // The process has ended; its pending requests get no reply.
    std::function<void()> disconnected;
  };

  // `program` is the executable to start; it gets the folder of this process's program as its argument. `scheduler`
  // must outlive this object.
  DesktopProcess(Scheduler& scheduler, QString program, Events events);
  // Ends the process; waits at most half a second for it to end by itself.
  ~DesktopProcess();
  DesktopProcess(const DesktopProcess&) = delete;
  DesktopProcess& operator=(const DesktopProcess&) = delete;

  void start();
  // Dropped while there is no desktop process.
  void send(const JsonObject& message);

 private:
  void take(const JsonObject& message);
  void sendPing();
  void ended();
  void stop();

  Scheduler& scheduler_;
  const QString program_;
  Events events_;
  std::chrono::milliseconds delay_;
  std::chrono::nanoseconds startedAt_{};
  std::unique_ptr<Timer> restart_;
  std::unique_ptr<Timer> pingTimer_;
  int unanswered_ = 0;
  std::unique_ptr<DesktopLink> link_;
  std::unique_ptr<QProcess> process_;
};

}  // namespace vantora
