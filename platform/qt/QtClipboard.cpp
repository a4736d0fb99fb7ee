#include "platform/qt/QtClipboard.h"

#include <QGuiApplication>
#include <QMimeData>
#include <utility>

namespace vantora {
namespace {

using namespace std::chrono_literals;

// Qt learns of another program's copy within milliseconds.
constexpr auto kTryAgain = 5ms;
constexpr int kTries = 200;

// Whether a window belongs to Qt's connection: each X connection has its own range of ids.
bool isToolkitsOwn(xcb_window_t window) {
  const auto* const native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!native || !native->connection()) return false;
  const xcb_setup_t* const setup = xcb_get_setup(native->connection());
  return (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

// Tells what is wanted of it.
class WatchedText final : public QMimeData {
 public:
  WatchedText(const QString& text, std::function<void(Clipboard::Interest)> wanted) : wanted_(std::move(wanted)) {
    setText(text);
  }
  QStringList formats() const override {
    wanted_(Clipboard::Interest::formats);
    return QMimeData::formats();
  }

 protected:
  QVariant retrieveData(const QString& format, QMetaType type) const override {
    wanted_(Clipboard::Interest::text);
    return QMimeData::retrieveData(format, type);
  }

 private:
  const std::function<void(Clipboard::Interest)> wanted_;
};

}  // namespace

QtClipboard::QtClipboard(QClipboard& clipboard, std::unique_ptr<X11ClipboardReader> reader, QClipboard::Mode mode)
    : clipboard_(clipboard), reader_(std::move(reader)), mode_(mode) {
  tellInterests_.setSingleShot(true);
  QObject::connect(&tellInterests_, &QTimer::timeout, &context_, [this] {
    for (const Interest interest : std::exchange(interests_, {})) {
      if (interest_) interest_(interest);
    }
  });
  again_.setSingleShot(true);
  QObject::connect(&again_, &QTimer::timeout, &context_, [this] { trySet(); });
  watched_ = reader_ && reader_->watch([this](xcb_window_t owner) { ownerChanged(owner); });
  if (watched_) return;
  QObject::connect(&clipboard_, &QClipboard::changed, &context_, [this](QClipboard::Mode changed) {
    // Qt reports a text that is set here within the call that sets it.
    if (changed == mode_ && !writing_) copied();
  });
}

void QtClipboard::ownerChanged(xcb_window_t owner) {
  // Other copies by this program (a room id, say) count as changes like any other.
  if (writing_ && isToolkitsOwn(owner)) {
    writing_ = false;
    return stored();
  }
  copied();
}

void QtClipboard::copied() {
  if (!std::exchange(ours_, false) && mode_ != QClipboard::Clipboard) return;
  ++changeCount_;
  if (changed_) changed_();
}

void QtClipboard::setText(const QString& text, std::function<void(qint64)> done) {
  const auto before = std::exchange(done_, std::move(done));
  text_ = text;
  tries_ = 0;
  trySet();
  if (before) before(changeCount_);  // Never set: replaced by this text.
}

void QtClipboard::trySet() {
  if (watched_) reader_->catchUp();
  if (!done_) return;
  writing_ = true;
  // Qt may destroy it after this object.
  clipboard_.setMimeData(new WatchedText(text_, life_.guard([this](Interest interest) { note(interest); })), mode_);
  // The server's event shows whether it accepted the text.
  if (watched_) reader_->catchUp();
  const bool refused = std::exchange(writing_, false) && watched_;
  if (!refused) {
    if (!watched_) stored();
  } else if (++tries_ < kTries) {
    again_.start(kTryAgain);
  } else {
    std::exchange(done_, nullptr)(changeCount_);
  }
}

void QtClipboard::note(Interest interest) {
  // Windows of this program look at it as soon as it changes.
  if (writing_ || readingOwn_) return;
  interests_.insert(interest);
  tellInterests_.start(0);
}

void QtClipboard::stored() {
  ours_ = true;
  std::exchange(done_, nullptr)(++changeCount_);
}

void QtClipboard::requestText(TextCallback done) {
  // Not ownsClipboard(): it also misses another program's copy in the same millisecond.
  if (reader_ && !ours_) return reader_->read(std::move(done));
  readingOwn_ = true;
  const QString text = clipboard_.text(mode_);
  readingOwn_ = false;
  done({.text = text});
}

std::unique_ptr<Clipboard> makeQtClipboard(QClipboard::Mode mode) {
  const bool x11 = QGuiApplication::platformName() == QStringLiteral("xcb");
  const X11ClipboardReader::Options options{.primary = mode == QClipboard::Selection};
  return std::make_unique<QtClipboard>(*QGuiApplication::clipboard(),
                                       x11 ? std::make_unique<X11ClipboardReader>(QString(), options) : nullptr, mode);
}

}  // namespace vantora
