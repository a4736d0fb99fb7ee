#include "base/Log.h"

#include <unistd.h>

#include <mutex>

namespace vantora {
namespace {

std::mutex& sinkMutex() {
  static std::mutex mutex;
  return mutex;
}

std::function<void(const QString&)>& currentSink() {
  static std::function<void(const QString&)> sink;
  return sink;
}

// Per line. Lines quote texts received from the network, which may be megabytes long.
constexpr qsizetype kMaxCharacters = 10'000;

void writeAll(const QByteArray& bytes) {
  const char* data = bytes.constData();
  qsizetype left = bytes.size();
  while (left > 0) {
    const ssize_t written = ::write(STDERR_FILENO, data, static_cast<size_t>(left));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;  // A closed standard error must not disturb the session.
    data += written;
    left -= written;
  }
}

}  // namespace

// One event is one line, also when it quotes a text from the network, and it contains no control characters for the
// terminal that shows it.
void logLine(const QString& line) {
  QString printed = line.size() > kMaxCharacters ? line.left(kMaxCharacters) + u'\u2026' : line;
  for (QChar& each : printed) {
    if (each.category() == QChar::Other_Control && each != u'\t') each = u' ';
  }
  const std::lock_guard lock(sinkMutex());
  if (currentSink()) {
    currentSink()(printed);
    return;
  }
  QByteArray bytes = printed.toUtf8();
  bytes.append('\n');
  writeAll(bytes);
}

void silenceToolkit() {
  qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtFatalMsg) logLine(QStringLiteral("fatal: ") + text);
  });
}

void logLine(const char* utf8Line) { logLine(QString::fromUtf8(utf8Line)); }

ScopedLogSink::ScopedLogSink(std::function<void(const QString&)> sink) {
  const std::lock_guard lock(sinkMutex());
  currentSink() = std::move(sink);
}

ScopedLogSink::~ScopedLogSink() {
  const std::lock_guard lock(sinkMutex());
  currentSink() = nullptr;
}

}  // namespace vantora
