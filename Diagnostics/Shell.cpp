#include "Diagnostics/Shell.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QByteArray>
#include <QStringDecoder>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <thread>

#include "base/process/ChildGroup.h"
#include "base/process/FileDescriptor.h"
#include "base/process/Utf8Check.h"

namespace vantora::Diagnostics {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How soon a stop request and the end of a process without output are detected.
constexpr milliseconds kTick{20};
// Between SIGTERM and SIGKILL to a group.
constexpr milliseconds kGrace{100};
// Time limit for reaping a killed process; one blocked in the kernel is left to a separate thread.
constexpr milliseconds kReapTime{200};
// A tenth of the weight of the session's own threads. Lower still, and on a machine that is overloaded, which is when
// people ask for a report, every command would starve until its timeout.
constexpr int kNiceness = 10;

// The shell as the leader of a new process group. A group, not a session: a new session would be scheduled beside ours
// with full weight on kernels that group tasks by session, whatever its niceness.
std::unique_ptr<ChildGroup> startShell(const QString& commandLine, const ShellLimits& limits, int output) {
  int error = 0;
  return ChildGroup::start({.command = {QStringLiteral("/bin/bash"),
                                        limits.login ? QStringLiteral("-lc") : QStringLiteral("-c"), commandLine},
                            .environment = limits.environment,
                            .folder = QString(),
                            .output = output,
                            .error = -1,
                            .ownSession = false},
                           error);
}

// Everything the group starts later inherits this. A failure to lower the priority is ignored.
void lowerPriority(pid_t group) {
  (void)setpriority(PRIO_PGRP, static_cast<id_t>(group), kNiceness);
#ifdef SYS_ioprio_set
  constexpr int kWhoProcessGroup = 2;
  // Lowest priority of the usual class; the idle class may get no access at all to a busy disk.
  constexpr int kBestEffortLast = (2 << 13) | 7;
  (void)syscall(SYS_ioprio_set, kWhoProcessGroup, group, kBestEffortLast);
#endif
}

// Collects the output of one process; keeps the first bytes and discards the rest.
class OutputReader {
 public:
  OutputReader(int fd, qsizetype keptBytes) : fd_(fd), keptBytes_(keptBytes) {}

  // Reads the available output, waiting for it at most `timeout`. False at the end of the output.
  bool read(milliseconds timeout) {
    pollfd waited{fd_, POLLIN, 0};
    const int ready = poll(&waited, 1, static_cast<int>(timeout.count()));
    if (ready == 0 || (ready < 0 && errno == EINTR)) return true;
    if (ready < 0) return false;
    char buffer[65536];
    const ssize_t count = ::read(fd_, buffer, sizeof buffer);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    if (count == 0) return false;
    const qsizetype room = keptBytes_ - kept_.size();
    if (count > room) cut_ = true;
    if (room > 0) kept_.append(buffer, std::min<qsizetype>(count, room));
    return true;
  }

  [[nodiscard]] const QByteArray& kept() const { return kept_; }
  [[nodiscard]] bool cut() const { return cut_; }

 private:
  const int fd_;
  const qsizetype keptBytes_;
  QByteArray kept_;
  bool cut_ = false;
};

QString decoded(QByteArrayView bytes) {
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  QString text = decoder(bytes);
  return decoder.hasError() ? QString() : text.trimmed();
}

Clock::time_point endOf(double timeoutSeconds, Clock::time_point deadline) {
  constexpr double kLongest = 3600;
  const double seconds = std::isnan(timeoutSeconds) ? 0 : std::clamp(timeoutSeconds, 0.0, kLongest);
  return std::min(Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds)),
                  deadline);
}

}  // namespace

QString sh(const QString& commandLine, double timeoutSeconds) { return sh(commandLine, timeoutSeconds, ShellLimits{}); }

QString sh(const QString& commandLine, double timeoutSeconds, const ShellLimits& limits) {
  const Clock::time_point end = endOf(timeoutSeconds, limits.deadline);
  const auto outOfTime = [&] { return limits.stop.stop_requested() || Clock::now() >= end; };
  if (outOfTime()) return {};

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const auto group = startShell(commandLine, limits, writing.get());
  writing.reset();
  if (!group) return {};
  lowerPriority(group->pid());

  OutputReader output(reading.get(), limits.keptBytes);
  bool readingOn = true;
  bool inTime = true;
  while (readingOn && (inTime = !outOfTime())) readingOn = output.read(kTick);
  while (inTime && !group->hasEnded() && (inTime = !outOfTime())) (void)group->waitForEnd(kTick);
  if (!inTime) {
    group->signal(SIGTERM);
    const auto graceEnd = Clock::now() + kGrace;
    // Output that the group prints while it ends is kept as well.
    while (readingOn && Clock::now() < graceEnd && !group->hasEnded()) readingOn = output.read(milliseconds(2));
    (void)group->waitForEnd(std::max(milliseconds(0), std::chrono::ceil<milliseconds>(graceEnd - Clock::now())));
    group->signal(SIGKILL);
    // One read empties a pipe; another one gets what was written just then.
    for (int i = 0; i < 2 && readingOn; ++i) readingOn = output.read(milliseconds(0));
  }
  (void)group->reap(kReapTime);
  return decoded(inTime && !output.cut() ? QByteArrayView(output.kept()) : withoutHalfCharacter(output.kept()));
}

}  // namespace vantora::Diagnostics
