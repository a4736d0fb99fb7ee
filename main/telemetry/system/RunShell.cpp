#include "main/telemetry/system/RunShell.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <QStringDecoder>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

extern char** environ;  // NOLINT(readability-redundant-declaration): not every system's headers have it.

namespace vantora {
namespace {

constexpr std::chrono::milliseconds kLookAgain{2};

// The shell, in a process group of its own; -1 when it cannot be started.
pid_t spawn(const QString& shell, const QString& commandLine, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  QByteArray program = QFile::encodeName(shell);
  QByteArray login("-lc");
  QByteArray line = commandLine.toUtf8();
  char* arguments[] = {program.data(), login.data(), line.data(), nullptr};
  pid_t pid = -1;
  const int error = posix_spawn(&pid, program.constData(), &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : -1;
}

QByteArray readAll(int fd) {
  QByteArray result;
  char buffer[4096];
  for (;;) {
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return result;
    result.append(buffer, count);
  }
}

}  // namespace

QString runShell(const QString& commandLine, const std::stop_token& stop, const QString& shell) {
  int ends[2];
  if (pipe(ends) != 0) return {};
  for (const int end : ends) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
  // A process that stays behind with the output open must not be waited for.
  (void)fcntl(ends[0], F_SETFL, O_NONBLOCK);
  const pid_t pid = spawn(shell, commandLine, ends[1]);
  close(ends[1]);
  bool ended = pid < 0;
  while (!ended) {
    const pid_t result = waitpid(pid, nullptr, stop.stop_possible() ? WNOHANG : 0);
    ended = result == pid || (result < 0 && errno != EINTR);
    if (ended) break;
    if (stop.stop_requested()) (void)kill(-pid, SIGKILL);
    std::this_thread::sleep_for(kLookAgain);
  }
  const QByteArray output = pid < 0 ? QByteArray() : readAll(ends[0]);
  close(ends[0]);
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  QString text = decoder(output);
  return decoder.hasError() ? QString() : text;
}

}  // namespace vantora
