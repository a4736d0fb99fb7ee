// The desktop's clipboard through Qt.
#pragma once

#include <QClipboard>
#include <QObject>
#include <QTimer>
#include <memory>
#include <set>

#include "base/Lifetime.h"
#include "platform/Clipboard.h"
#include "platform/x11/X11ClipboardReader.h"

namespace vantora {

// Needs a QGuiApplication. Texts set here are offered to other programs for as long as the process lives. On X11
// changes are detected from the server's events and texts are read by `reader`: Qt misses a copy that another program
// makes in the same millisecond, its reading blocks on the owner, and the server refuses its text while Qt does not
// know of another program's copy yet; then the text is set again a moment later. Thread: that of the application.
// Owner: the desktop process.
class QtClipboard final : public Clipboard {
 public:
  // `clipboard` must outlive this object. Without a `reader` (on other desktops than X11) Qt reads texts and reports
  // changes. Of the primary selection, which changes with every selection that somebody makes, only the end of a text
  // that was set here is a change.
  QtClipboard(QClipboard& clipboard, std::unique_ptr<X11ClipboardReader> reader,
              QClipboard::Mode mode = QClipboard::Clipboard);

  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64 changeCount)> done) override;
  void requestText(TextCallback done) override;
  void setInterestHandler(std::function<void(Interest)> handler) override { interest_ = std::move(handler); }
  bool shared() const override { return watched_; }

 private:
  // Another program, or another part of this one, has copied.
  void copied();
  void ownerChanged(xcb_window_t owner);
  void trySet();
  void stored();
  void note(Interest interest);

  QObject context_;
  QClipboard& clipboard_;
  const std::unique_ptr<X11ClipboardReader> reader_;
  const QClipboard::Mode mode_;
  std::function<void()> changed_;
  std::function<void(Interest)> interest_;
  std::set<Interest> interests_;
  QTimer tellInterests_;  // Once for all of one moment.
  qint64 changeCount_ = 0;
  bool watched_ = false;  // The server reports every change.
  bool writing_ = false;
  // The text to set, while `done_` is not empty.
  QString text_;
  std::function<void(qint64)> done_;
  QTimer again_;
  int tries_ = 0;
  bool ours_ = false;  // The clipboard still holds the text that was set here.
  bool readingOwn_ = false;
  Lifetime life_;
};

// The clipboard of the running QGuiApplication, or its primary selection.
std::unique_ptr<Clipboard> makeQtClipboard(QClipboard::Mode mode = QClipboard::Clipboard);

}  // namespace vantora
