// What happens when the program has been launched.
#pragma once

#include <QStringList>
#include <memory>

#include "main/base/QtScheduler.h"
#include "main/session/Host.h"
#include "main/telemetry/DiagnosticsReports.h"
#include "platform/Clipboard.h"
#include "platform/Platform.h"

namespace vantora {

// Builds what the session stands on and the session itself. Thread: main. Owner: main().
class HostAppDelegate {
 public:
  // `arguments` begins with the program's name.
  HostAppDelegate(QStringList arguments, Environment environment, InfoDictionary info);
  ~HostAppDelegate();
  HostAppDelegate(const HostAppDelegate&) = delete;
  HostAppDelegate& operator=(const HostAppDelegate&) = delete;

  // Chooses the room and starts the session. The text of a configuration error that leaves nothing
  // to run, none on success.
  [[nodiscard]] std::optional<QString> applicationDidFinishLaunching();

 private:
  VideoSourceFactory videoSources();

  const QStringList arguments_;
  const Environment environment_;
  const InfoDictionary info_;
  // Member order is teardown order: the session goes first.
  WorkerThreads diagnosticsThreads_{"diagnostics", kReportsAtOnce};
  QtScheduler scheduler_;
  Platform platform_;
  std::unique_ptr<Clipboard> clipboard_;
  std::unique_ptr<PeerConnectionFactory> factory_;
  std::unique_ptr<Host> host_;
};

}  // namespace vantora
