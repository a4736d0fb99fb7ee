#include "platform/qt/QtClipboard.h"

#include <QGuiApplication>

namespace vantora {
namespace {

// Whether a window belongs to the toolkit's connection: a server gives each connection numbers of its own.
bool isToolkitsOwn(xcb_window_t window) {
  const auto* const native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!native || !native->connection()) return false;
  const xcb_setup_t* const setup = xcb_get_setup(native->connection());
  return (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

}  // namespace

QtClipboard::QtClipboard(QClipboard& clipboard, std::unique_ptr<X11ClipboardReader> reader)
    : clipboard_(clipboard), reader_(std::move(reader)) {
  watched_ = reader_ && reader_->watch([this](xcb_window_t owner) {
    // Every text that is set here is told once; what else this program copies (a room id, say) is a change as any
    // other.
    if (!isToolkitsOwn(owner) || ownNotices_ == 0) return copied();
    --ownNotices_;
  });
  if (watched_) return;
  QObject::connect(&clipboard_, &QClipboard::dataChanged, &context_, [this] {
    // The toolkit reports what is set here within the call that sets it.
    if (!writing_) copied();
  });
}

void QtClipboard::copied() {
  ours_ = false;
  ++changeCount_;
  if (changed_) changed_();
}

void QtClipboard::setText(const QString& text, std::function<void(qint64)> done) {
  writing_ = true;
  clipboard_.setText(text);
  writing_ = false;
  ours_ = true;
  if (watched_) ++ownNotices_;
  done(++changeCount_);
}

void QtClipboard::requestText(std::function<void(const QString&)> done) {
  // Not ownsClipboard(): that, too, misses another program's copy in the same millisecond.
  if (reader_ && !ours_) return reader_->read(std::move(done));
  done(clipboard_.text());
}

std::unique_ptr<Clipboard> makeQtClipboard() {
  const bool x11 = QGuiApplication::platformName() == QStringLiteral("xcb");
  return std::make_unique<QtClipboard>(*QGuiApplication::clipboard(),
                                       x11 ? std::make_unique<X11ClipboardReader>() : nullptr);
}

}  // namespace vantora
