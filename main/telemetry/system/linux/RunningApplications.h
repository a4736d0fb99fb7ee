// Finds the desktop application of a process.
#pragma once

#include <unordered_map>

#include "main/telemetry/system/SystemFigures.h"
#include "main/telemetry/system/linux/DesktopEntries.h"
#include "main/telemetry/system/linux/FileReader.h"
#include "main/telemetry/system/linux/ProcessTable.h"

namespace vantora {

// Data about a process besides its figures.
struct ProcessIdentity {
  QString command;  // its name without the kernel's cut after 15 bytes
  std::optional<RunningApplication> application;
};

// A process is an application when a desktop entry starts the program that it runs, when a launcher noted the entry in
// its environment, or when the desktop made a control group for it, named after the entry. Caches the results. The
// programs of other users' processes cannot be read, so these are not applications. Data in a process's memory is not
// read while the process waits in the kernel, nor when it is not needed. Thread: one worker. Owner: LinuxFigures.
class RunningApplications {
 public:
  // `procFolder` is an open descriptor of "/proc" or a recorded one and must outlive this object.
  RunningApplications(int procFolder, DesktopEntries::Places places) : proc_(procFolder), entries_(std::move(places)) {}

  [[nodiscard]] const ProcessIdentity& identify(const ProcessRow& process);
  // Forgets all other processes.
  void keepOnly(const std::vector<ProcessRow>& processes);

 private:
  struct Known {
    quint64 startTicks = 0;
    std::string name;
    ProcessIdentity identity;
    bool complete = false;
  };

  [[nodiscard]] ProcessIdentity find(const ProcessRow& process);
  [[nodiscard]] const DesktopEntry* entryOf(const ProcessRow& process, const QString& executable,
                                            const QByteArray& commandLine);
  [[nodiscard]] const DesktopEntry* launchedEntry(qint32 pid);
  [[nodiscard]] QByteArray file(qint32 pid, const char* name, std::size_t limit);
  [[nodiscard]] QString executable(qint32 pid) const;

  const int proc_;
  FileReader reader_;
  DesktopEntries entries_;
  std::unordered_map<qint32, Known> known_;
};

}  // namespace vantora
