// The desktop's clipboard through the toolkit.
#pragma once

#include <QClipboard>
#include <QObject>
#include <QTimer>
#include <memory>

#include "platform/Clipboard.h"
#include "platform/x11/X11ClipboardReader.h"

namespace vantora {

// Needs a QGuiApplication. Texts set here are offered to other programs for as long as the process lives. On X11
// changes are noticed by the server's own notice and texts are read by `reader`: the toolkit misses a copy that another
// program makes in the same millisecond, its reading waits for the owner, and what it sets is refused by the server
// while it has not noticed yet that another program copied; then it is set again a moment later. Thread: that of the
// application. Owner: the desktop process.
class QtClipboard final : public Clipboard {
 public:
  // `clipboard` must outlive this object. Without a `reader` (another desktop than X11) the toolkit does its work.
  QtClipboard(QClipboard& clipboard, std::unique_ptr<X11ClipboardReader> reader);

  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64 changeCount)> done) override;
  void requestText(TextAnswer done) override;

 private:
  // By another program, or by another part of this one.
  void copied();
  void tell(xcb_window_t owner);
  void trySet();
  void stored();

  QObject context_;
  QClipboard& clipboard_;
  const std::unique_ptr<X11ClipboardReader> reader_;
  std::function<void()> changed_;
  qint64 changeCount_ = 0;
  bool watched_ = false;  // The server tells every change.
  bool writing_ = false;
  // The text that is being set, while `done_` is not empty.
  QString text_;
  std::function<void(qint64)> done_;
  QTimer again_;
  int tries_ = 0;
  bool ours_ = false;  // What was set here last has not been replaced.
};

// The clipboard of the running QGuiApplication.
std::unique_ptr<Clipboard> makeQtClipboard();

}  // namespace vantora
