#include "Diagnostics/Shell.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QByteArray>
#include <QStringDecoder>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <thread>
#include <vector>

namespace vantora::Diagnostics {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How soon a stop request and the end of a process without output are noticed.
constexpr milliseconds kTick{20};
// Between asking a group to end and ending it.
constexpr milliseconds kGrace{100};
// How long a killed process is waited for; one stuck in the kernel is left to a thread of its own.
constexpr milliseconds kReapTime{200};
// A tenth of the weight of the session's own threads. Lower still, and on a machine that is overloaded, which is when
// people ask for a report, every command would starve until its time is up.
constexpr int kNiceness = 10;

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  void reset(int fd = -1) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_;
};

std::vector<QByteArray> encoded(const QStringList& texts) {
  std::vector<QByteArray> result;
  result.reserve(static_cast<size_t>(texts.size()));
  for (const QString& text : texts) result.push_back(text.toLocal8Bit());
  return result;
}

std::vector<char*> pointers(std::vector<QByteArray>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (QByteArray& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

// Starts the shell as the leader of a new process group. posix_spawn does not copy the page tables of this process,
// which fork would do while a session is streaming. Gives the process id, or -1.
pid_t spawnShell(const QString& commandLine, const ShellLimits& limits, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  sigset_t usual;
  sigfillset(&usual);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  // A group, not a session: a new session would be scheduled beside ours with full weight on kernels that group
  // tasks by session, whatever its niceness.
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  std::vector<QByteArray> arguments =
      encoded({QStringLiteral("/bin/bash"), limits.login ? QStringLiteral("-lc") : QStringLiteral("-c"), commandLine});
  std::vector<QByteArray> variables = encoded(limits.environment.toStringList());
  pid_t pid = -1;
  const int error = posix_spawn(&pid, arguments.front().constData(), &actions, &attributes, pointers(arguments).data(),
                                pointers(variables).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : -1;
}

// Everything the group starts later inherits this. Failing to lower a priority is no reason not to look.
void lowerPriority(pid_t group) {
  (void)setpriority(PRIO_PGRP, static_cast<id_t>(group), kNiceness);
#ifdef SYS_ioprio_set
  constexpr int kWhoProcessGroup = 2;
  // Last of the usual class; the idle class may get nothing at all from a disk that is busy.
  constexpr int kBestEffortLast = (2 << 13) | 7;
  (void)syscall(SYS_ioprio_set, kWhoProcessGroup, group, kBestEffortLast);
#endif
}

// Whether the process has ended. It stays unreaped, so that its id, which is also the group's, is not given away.
bool hasEnded(pid_t pid) {
  siginfo_t info{};
  const int result = waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT);
  return (result == 0 && info.si_pid == pid) || (result < 0 && errno == ECHILD);
}

bool waitForEnd(pid_t pid, milliseconds patience) {
  const auto until = Clock::now() + patience;
  for (;;) {
    if (hasEnded(pid)) return true;
    if (Clock::now() >= until) return false;
    std::this_thread::sleep_for(milliseconds(2));
  }
}

void reap(pid_t pid) {
  if (!waitForEnd(pid, kReapTime)) {
    std::thread([pid] { (void)waitpid(pid, nullptr, 0); }).detach();
    return;
  }
  (void)waitpid(pid, nullptr, 0);
}

// Collects the output of one process; keeps the first bytes and counts nothing else.
class OutputReader {
 public:
  OutputReader(int fd, qsizetype keptBytes) : fd_(fd), kept_bytes_(keptBytes) {}

  // Reads what there is, waiting for it no longer than `patience`. False at the end of the output.
  bool read(milliseconds patience) {
    pollfd waited{fd_, POLLIN, 0};
    const int ready = poll(&waited, 1, static_cast<int>(patience.count()));
    if (ready == 0 || (ready < 0 && errno == EINTR)) return true;
    if (ready < 0) return false;
    char buffer[65536];
    const ssize_t count = ::read(fd_, buffer, sizeof buffer);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    if (count == 0) return false;
    const qsizetype room = kept_bytes_ - kept_.size();
    if (count > room) cut_ = true;
    if (room > 0) kept_.append(buffer, std::min<qsizetype>(count, room));
    return true;
  }

  [[nodiscard]] const QByteArray& kept() const { return kept_; }
  [[nodiscard]] bool cut() const { return cut_; }

 private:
  const int fd_;
  const qsizetype kept_bytes_;
  QByteArray kept_;
  bool cut_ = false;
};

// Output that was cut off may end inside a character: that one is dropped.
QByteArray withoutHalfCharacter(QByteArray bytes) {
  qsizetype start = bytes.size();
  for (int back = 0; back < 4 && start > 0; ++back) {
    const auto byte = static_cast<unsigned char>(bytes[--start]);
    if ((byte & 0xC0) == 0x80) continue;
    const int length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    if (bytes.size() - start < length) bytes.truncate(start);
    break;
  }
  return bytes;
}

QString decoded(const QByteArray& bytes) {
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
  const auto out_of_time = [&] { return limits.stop.stop_requested() || Clock::now() >= end; };
  if (out_of_time()) return {};

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const pid_t pid = spawnShell(commandLine, limits, writing.get());
  writing.reset();
  if (pid < 0) return {};
  lowerPriority(pid);

  OutputReader output(reading.get(), limits.keptBytes);
  bool reading_on = true;
  bool in_time = true;
  while (reading_on && (in_time = !out_of_time())) reading_on = output.read(kTick);
  while (in_time && !hasEnded(pid) && (in_time = !out_of_time())) std::this_thread::sleep_for(milliseconds(2));
  if (!in_time) {
    (void)kill(-pid, SIGTERM);
    const auto grace_end = Clock::now() + kGrace;
    // What the group still prints while it ends counts as printed before.
    while (reading_on && Clock::now() < grace_end && !hasEnded(pid)) reading_on = output.read(milliseconds(2));
    (void)waitForEnd(pid, std::max(milliseconds(0), std::chrono::ceil<milliseconds>(grace_end - Clock::now())));
    (void)kill(-pid, SIGKILL);
    // One read empties a pipe; a second one finds what a last writer squeezed in.
    for (int i = 0; i < 2 && reading_on; ++i) reading_on = output.read(milliseconds(0));
  }
  reap(pid);
  return decoded(in_time && !output.cut() ? output.kept() : withoutHalfCharacter(output.kept()));
}

}  // namespace vantora::Diagnostics
