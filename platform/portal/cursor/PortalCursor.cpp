#include "platform/portal/cursor/PortalCursor.h"

#include <algorithm>
#include <map>
#include <utility>

#include "base/Lifetime.h"
#include "base/ThreadAffinity.h"
#include "base/process/AbandonableThread.h"
#include "platform/portal/cursor/CursorTheme.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

// Desktops have few screens; one that names new ones forever must not exhaust our memory.
constexpr std::size_t kMaxStreams = 64;
constexpr auto kReadingEnds = 1s;

class NamedPortalCursor final : public PortalCursor {
 public:
  explicit NamedPortalCursor(const Environment& environment)
      : usualTheme_(environment.nonEmpty("XCURSOR_THEME").value_or(QString())),
        usualSize_(static_cast<int>(std::clamp<qint64>(environment.integer("XCURSOR_SIZE").value_or(0), 0, 1024))) {}
  ~NamedPortalCursor() override { endReading(); }

  void watch(Handlers handlers) override {
    affinity_.check("PortalCursor::watch");
    handlers_ = std::move(handlers);
    watching_ = true;
    identify();
  }

  void unwatch() override {
    affinity_.check("PortalCursor::unwatch");
    watching_ = false;
    wanted_ = false;
    handlers_ = {};
    shown_.reset();
  }

  void armPointerEvent() override {
    affinity_.check("PortalCursor::armPointerEvent");
    wanted_ = watching_;
  }

  std::optional<ShownCursor> currentCursor() override {
    affinity_.check("PortalCursor::currentCursor");
    return watching_ ? shown_ : std::nullopt;
  }

  void report(const StreamCursor& cursor) override {
    affinity_.check("PortalCursor::report");
    if (!streams_.contains(cursor.node) && streams_.size() >= kMaxStreams) return;
    Stream& stream = streams_[cursor.node];
    if (cursor.bitmap) {
      stream.image = imageOf(*cursor.bitmap);
      stream.imageNumber = ++images_;
    }
    bool used = false;
    if (cursor.visible) {
      used = pointed_ && (pointed_ != cursor.node || stream.position != cursor.position);
      stream.position = cursor.position;
      pointed_ = cursor.node;
    }
    const bool changed = identify();
    // Copies: a handler may call unwatch().
    if (used && std::exchange(wanted_, false)) {
      if (const auto handler = handlers_.pointerUsed) handler();
    }
    if (changed) tellChange();
  }

  void streamsClosed() override {
    affinity_.check("PortalCursor::streamsClosed");
    streams_.clear();
    pointed_.reset();
    shown_.reset();
  }

  void setTheme(const QString& name, int size) override {
    affinity_.check("PortalCursor::setTheme");
    if (theme_ == name && size_ == size) return;
    theme_ = name;
    size_ = size;
    names_.reset();
    ++themes_;
    if (identify()) tellChange();
  }

 private:
  // What a stream reported last.
  struct Stream {
    QPoint position;  // While the pointer was there.
    std::optional<CursorBitmap> image;
    quint64 imageNumber = 0;
  };

  static CursorBitmap imageOf(const CursorBitmap& reported) {
    const auto [width, height] = std::pair(std::max(reported.size.width(), 0), std::max(reported.size.height(), 0));
    if (width == 0 || height == 0) return {{1, 1}, {0, 0}, {0}};
    if (width > CursorNames::kMaxSide || height > CursorNames::kMaxSide) return {};
    if (reported.pixels.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) return {};
    return reported;
  }

  // Whether the shown cursor is another one than before.
  bool identify() {
    if (!watching_ || !pointed_) return false;
    const auto& [position, image, number] = streams_[*pointed_];
    if (!image) return false;
    if (!names_) {
      readTheme();
      return false;
    }
    if (shown_ && number == identified_) return false;
    ShownCursor found{names_->find(*image)};
    if (found.name.isEmpty() && !image->size.isEmpty()) found.bitmap = *image;
    identified_ = number;
    return std::exchange(shown_, found) != found;
  }

  void tellChange() {
    if (!watching_) return;
    if (const auto handler = handlers_.cursorChanged) handler();
  }

  // One reading at a time; another one follows when the theme has changed meanwhile.
  void readTheme() {
    if (reading_) return;
    const QByteArray theme = (theme_.isEmpty() ? usualTheme_ : theme_).toUtf8();
    reading_.emplace([theme, size = size_ > 0 ? size_ : usualSize_,
                      done = life_.onMain([this, asked = themes_](const std::shared_ptr<const CursorNames>& names) {
                        endReading();
                        if (asked == themes_) names_ = names;
                        identified_ = 0;
                        if (identify()) tellChange();
                      })] { done(readCursorTheme(theme, size)); });
  }

  void endReading() {
    if (!reading_) return;
    (void)reading_->join(AbandonableThread::Clock::now() + kReadingEnds);
    reading_.reset();
  }

  ThreadAffinity affinity_;
  const QString usualTheme_;
  const int usualSize_;
  QString theme_;
  int size_ = 0;
  quint64 themes_ = 0;  // Counts the changes of the theme.
  std::shared_ptr<const CursorNames> names_;
  std::optional<AbandonableThread> reading_;

  Handlers handlers_;
  bool watching_ = false;
  bool wanted_ = false;  // A pointer event was requested.
  std::map<std::uint32_t, Stream> streams_;
  std::optional<std::uint32_t> pointed_;  // The stream that has the pointer, or had it last.
  quint64 images_ = 0;                    // Numbers the reported images.
  quint64 identified_ = 0;                // The image of shown_.
  std::optional<ShownCursor> shown_;
  Lifetime life_;
};

}  // namespace

std::unique_ptr<PortalCursor> makePortalCursor(const Environment& environment) {
  return std::make_unique<NamedPortalCursor>(environment);
}

}  // namespace vantora
