#include "main/telemetry/system/RunShell.h"

#include <fcntl.h>
#include <unistd.h>

#include <QProcessEnvironment>
#include <QStringDecoder>
#include <cerrno>
#include <chrono>
#include <csignal>

#include "base/process/ChildGroup.h"
#include "base/process/FileDescriptor.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// How often a stop request is checked.
constexpr std::chrono::milliseconds kStopPollPeriod{20};
constexpr std::chrono::milliseconds kReapTime{200};

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
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  for (const int end : ends) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
  // Do not wait for a background process that keeps the output open.
  (void)fcntl(reading.get(), F_SETFL, O_NONBLOCK);
  int error = 0;
  const auto child = ChildGroup::start({.command = {shell, u"-lc"_s, commandLine},
                                        .environment = QProcessEnvironment::systemEnvironment().toStringList(),
                                        .folder = {},
                                        .output = writing.get()},
                                       error);
  writing.reset();
  if (!child) return {};
  while (!child->waitForEnd(kStopPollPeriod)) {
    if (!stop.stop_requested()) continue;
    child->signal(SIGKILL);
    break;
  }
  (void)child->reap(kReapTime);
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  QString text = decoder(readAll(reading.get()));
  return decoder.hasError() ? QString() : text;
}

}  // namespace vantora
