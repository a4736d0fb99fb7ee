// Plain text through pipes, the way in which clipboards of Wayland hand over their content.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <optional>

#include "base/process/FileDescriptor.h"
#include "platform/Clipboard.h"

namespace vantora {

// The formats of plain text, best first: the media types of Wayland and the names of X.
const QStringList& textFormats();
// Offered beside a text that histories of the clipboard are not to keep.
inline constexpr char kConfidentialFormat[] = "x-kde-passwordManagerHint";
// `text` as programs expect it in one of them. Pure.
QByteArray encodedText(const QString& text, const QString& format);

// Destroyed later: it may be its own signal that ends it.
struct DeleteNotifierLater {
  void operator()(QSocketNotifier* notifier) const {
    notifier->setEnabled(false);
    notifier->deleteLater();
  }
};
using WatchedDescriptor = std::unique_ptr<QSocketNotifier, DeleteNotifierLater>;

// Readings of a clipboard, one at a time in the order of the requests. Each ends at its timeout at the latest, and its
// callback is called once, from the event loop. Whoever writes into a pipe is not trusted: the memory is limited, and
// bytes that are no text are replaced. Thread: one with a Qt event loop.
class TextReadings {
 public:
  struct Limits {
    std::chrono::milliseconds timeout{4000};
    qint64 bytes = Clipboard::kMaxTextBytes;
    // Of a text that is too long, so many bytes are counted, without keeping them.
    qint64 counted = 64 * 1024 * 1024;
  };
  // Obtains the text of the reading `turn`; ends in read() or finish().
  using Begin = std::function<void(quint64 turn)>;

  explicit TextReadings(Begin begin) : TextReadings(std::move(begin), Limits()) {}
  TextReadings(Begin begin, Limits limits);

  void add(Clipboard::TextCallback done);
  // Both have no effect unless `turn` is the current one.
  void read(quint64 turn, FileDescriptor pipe, const QString& format);
  void finish(quint64 turn, const ClipboardReading& reading);
  bool isCurrent(quint64 turn) const { return busy_ && turn == turn_; }
  // Ends all as unreadable.
  void failAll();

 private:
  void next();
  void drain();
  ClipboardReading decoded() const;

  const Begin begin_;
  const Limits limits_;
  QObject context_;
  std::deque<Clipboard::TextCallback> waiting_;  // The first one is the current one while busy_.
  bool busy_ = false;
  quint64 turn_ = 0;
  QTimer timeout_;
  FileDescriptor pipe_;
  WatchedDescriptor notifier_;
  QString format_;
  QByteArray bytes_;
  qint64 length_ = 0;
};

// Texts on their way to other programs, several at a time. Thread: one with a Qt event loop. The process must ignore
// SIGPIPE.
class TextWritings {
 public:
  static constexpr std::size_t kMaxAtOnce = 16;
  // `whole`: the reader has taken all of it.
  using Done = std::function<void(bool whole)>;

  // `timeout`: for one text.
  explicit TextWritings(std::chrono::milliseconds timeout = std::chrono::seconds(30)) : timeout_(timeout) {}

  // Writes `bytes` and closes the pipe. `done` is called once, from the event loop, or at once when too many programs
  // read already.
  void add(FileDescriptor pipe, const QByteArray& bytes, Done done = {});
  std::size_t count() const { return writings_.size(); }

 private:
  struct Writing {
    FileDescriptor pipe;
    QByteArray bytes;
    Done done;
    qsizetype written = 0;
    WatchedDescriptor notifier = nullptr;
    std::unique_ptr<QTimer> timeout = nullptr;
  };
  using Place = std::list<Writing>::iterator;
  void proceed(Place place);
  void end(Place place, bool whole);

  const std::chrono::milliseconds timeout_;
  QObject context_;
  std::list<Writing> writings_;
};

}  // namespace vantora
