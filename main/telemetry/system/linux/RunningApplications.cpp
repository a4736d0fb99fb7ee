#include "main/telemetry/system/linux/RunningApplications.h"

#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <climits>
#include <string>

#include "Diagnostics/text/ProcessText.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

QString lastComponent(const QString& path) { return path.mid(path.lastIndexOf(u'/') + 1); }

// The value of a variable in the text of an "environ" file.
QByteArray variable(const QByteArray& environment, const QByteArray& name) {
  for (const QByteArray& each : environment.split('\0')) {
    if (each.startsWith(name + '=')) return each.mid(name.size() + 1);
  }
  return {};
}

}  // namespace

const ProcessIdentity& RunningApplications::identify(const ProcessRow& process) {
  Known& known = known_[process.pid];
  // A process that starts another program keeps its id and its age, but not its name.
  const bool same = known.startTicks == process.startTicks && known.name == process.name;
  if (!same || (!known.complete && !process.uninterruptible)) {
    known = {process.startTicks, process.name, find(process), !process.uninterruptible};
  }
  return known.identity;
}

void RunningApplications::keepOnly(const std::vector<ProcessRow>& processes) {
  std::erase_if(known_, [&](const auto& known) {
    return std::ranges::none_of(processes, [&](const ProcessRow& row) { return row.pid == known.first; });
  });
}

ProcessIdentity RunningApplications::find(const ProcessRow& process) {
  const QByteArray name = QByteArray::fromStdString(process.name);
  const QString program = executable(process.pid);
  const bool needed = Diagnostics::mayBeCut(name) || runsOthers(program);
  const QByteArray commandLine = needed && !process.uninterruptible ? file(process.pid, "cmdline", 4096) : QByteArray();
  ProcessIdentity identity;
  identity.command = Diagnostics::processName(name, commandLine);
  if (program.isEmpty()) return identity;
  entries_.refresh();
  if (const DesktopEntry* const entry = entryOf(process, program, commandLine)) {
    identity.application = RunningApplication{entry->name, program, entry->path};
  }
  return identity;
}

const DesktopEntry* RunningApplications::entryOf(const ProcessRow& process, const QString& executable,
                                                 const QByteArray& commandLine) {
  if (const DesktopEntry* const entry = entries_.byProgram(executable)) return entry;
  // A script: its interpreter has the script's path as its first argument.
  const QString script = QFile::decodeName(commandLine.split('\0').value(1));
  const bool interprets = script.startsWith(u'/') && runsOthers(executable);
  if (interprets) {
    if (const DesktopEntry* const entry = entries_.byProgram(QFileInfo(script).canonicalFilePath())) return entry;
  }
  if (!process.uninterruptible) {
    if (const DesktopEntry* const entry = launchedEntry(process.pid)) return entry;
  }
  // Child processes are in an application's group as well, but run another program.
  const QString id = desktopIdOfControlGroup(QString::fromUtf8(file(process.pid, "cgroup", 4096)));
  const DesktopEntry* const entry = id.isEmpty() ? nullptr : entries_.byId(id);
  return entry && lastComponent(entry->program) == lastComponent(executable) ? entry : nullptr;
}

const DesktopEntry* RunningApplications::launchedEntry(qint32 pid) {
  const QByteArray environment = file(pid, "environ", 1 << 16);
  // Child processes inherit the variables: they are valid only for the process with the given id.
  if (variable(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID") != QByteArray::number(pid)) return nullptr;
  return entries_.byFile(QFile::decodeName(variable(environment, "GIO_LAUNCHED_DESKTOP_FILE")));
}

QByteArray RunningApplications::file(qint32 pid, const char* name, std::size_t limit) {
  const std::string path = std::to_string(pid) + '/' + name;
  const std::string_view text = reader_.read(proc_, path.c_str(), limit);
  return {text.data(), static_cast<qsizetype>(text.size())};
}

QString RunningApplications::executable(qint32 pid) const {
  char target[PATH_MAX];
  const std::string path = std::to_string(pid) + "/exe";
  const ssize_t size = readlinkat(proc_, path.c_str(), target, sizeof target);
  if (size <= 0) return {};
  QString program = QFile::decodeName(QByteArray(target, size));
  // The program was replaced while running, for instance by an update.
  constexpr auto kDeleted = " (deleted)"_L1;
  if (program.endsWith(kDeleted)) program.chop(kDeleted.size());
  return program;
}

}  // namespace vantora
