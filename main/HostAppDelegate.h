// Creates and connects the parts of the program at launch.
#pragma once

#include <QStringList>
#include <memory>

#include "base/QtScheduler.h"
#include "main/desktop/DesktopProcessClient.h"
#include "main/desktop/SingleInstance.h"
#include "main/session/Host.h"
#include "main/telemetry/DiagnosticsReports.h"
#include "main/telemetry/system/MachineStatistics.h"
#include "platform/DesktopSession.h"

namespace vantora {

// Builds the session and everything it depends on. Thread: main. Owner: main().
class HostAppDelegate {
 public:
  // `arguments` begins with the program's name.
  HostAppDelegate(QStringList arguments, Environment environment, InfoDictionary info);
  ~HostAppDelegate();
  HostAppDelegate(const HostAppDelegate&) = delete;
  HostAppDelegate& operator=(const HostAppDelegate&) = delete;

  struct Launch {
    // Another process serves this room on this desktop and has been notified; this one should exit.
    bool alreadyRunning = false;
    // A configuration error that prevents the start.
    std::optional<QString> error;
  };
  // Chooses the room, starts the session and then its user interface.
  [[nodiscard]] Launch applicationDidFinishLaunching();
  // The user launched the program again.
  void applicationShouldHandleReopen();

 private:
  VideoSourceFactory videoSources();
  void startDesktop();
  HostState hostState() const;
  void carryOut(const UiRequest& request);

  const QStringList arguments_;
  const Environment environment_;
  const InfoDictionary info_;
  // Members are destroyed in reverse order of declaration: the session before what it uses.
  WorkerThreads statisticsThread_{"host-stats", 1};
  WorkerThreads diagnosticsThreads_{"diagnostics", kReportsAtOnce};
  QtScheduler scheduler_;
  DesktopProcessClient desktopProcess_;
  // Its clipboard is that of the desktop process.
  const std::unique_ptr<DesktopSession> desktop_;
  std::unique_ptr<PeerConnectionFactory> factory_;
  std::unique_ptr<Host> host_;
  std::unique_ptr<LocalAddressesWatch> addresses_;
  SingleInstance singleInstance_;
};

}  // namespace vantora
