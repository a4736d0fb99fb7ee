// Which application of the desktop a process is.
#pragma once

#include <unordered_map>

#include "main/telemetry/system/SystemFigures.h"
#include "main/telemetry/system/linux/DesktopEntries.h"
#include "main/telemetry/system/linux/FileReader.h"
#include "main/telemetry/system/linux/ProcessTable.h"

namespace vantora {

// What is told of a process besides its figures.
struct ProcessIdentity {
  QString command;  // its name without the kernel's cut after 15 bytes
  std::optional<RunningApplication> application;
};

// A process is an application when a desktop entry starts the program that it runs, when a launcher noted the entry in
// its environment, or when the desktop made it a control group named after the entry. Remembers what it found. Other
// users' processes keep their program to themselves and are no applications then. What is in a process's memory is not
// asked for while it waits in the kernel, nor where it is not needed. Thread: one worker. Owner:
// LinuxFigures.
class RunningApplications {
 public:
  // `procFolder` is an open descriptor of "/proc" or a recorded one and must outlive this object.
  RunningApplications(int procFolder, DesktopEntries::Places places) : proc_(procFolder), entries_(std::move(places)) {}

  [[nodiscard]] const ProcessIdentity& identify(const ProcessRow& process);
  // Forgets all processes but these.
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
