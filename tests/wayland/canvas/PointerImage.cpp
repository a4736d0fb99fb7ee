#include "tests/wayland/canvas/PointerImage.h"

#include <QPoint>
#include <QtGlobal>
#include <utility>

#include "tests/wayland/canvas/Report.h"

namespace vantora::canvas {
namespace {

constexpr QSize kDrawnSize(20, 28);
constexpr QPoint kDrawnHotSpot(3, 5);

// A frame of two colours around a half transparent middle: premultiplied, and not symmetrical.
std::unique_ptr<ShmBuffer> draw(wl_shm* shm) {
  auto buffer = std::make_unique<ShmBuffer>(shm, kDrawnSize);
  for (int y = 0; y < kDrawnSize.height(); ++y) {
    for (int x = 0; x < kDrawnSize.width(); ++x) {
      const bool edge = x < 2 || y < 2 || x >= kDrawnSize.width() - 2 || y >= kDrawnSize.height() - 2;
      buffer->pixels()[y * kDrawnSize.width() + x] = !edge ? 0x80008040 : x < y ? 0xffe02060 : 0xff2040e0;
    }
  }
  return buffer;
}

}  // namespace

PointerImage::~PointerImage() {
  if (surface_) wl_surface_destroy(surface_);
  if (theme_) wl_cursor_theme_destroy(theme_);
}

void PointerImage::choose(const QByteArray& name) {
  name_ = name;
  told_ = false;
  show();
}

void PointerImage::entered(wl_pointer* pointer, std::uint32_t serial, int scale) {
  pointer_ = pointer;
  serial_ = serial;
  scale_ = scale;
  show();
}

void PointerImage::show() {
  if (!pointer_) return;
  if (name_ == "none") {
    wl_pointer_set_cursor(pointer_, serial_, nullptr, 0, 0);
  } else if (name_ == "bitmap") {
    if (!drawn_) drawn_ = draw(globals_.shm);
    attach(drawn_->proxy(), 1, kDrawnHotSpot.x(), kDrawnHotSpot.y());
  } else if (!showThemed()) {
    return reportError(QStringLiteral("the theme has no cursor named ") + QString::fromUtf8(name_));
  }
  if (told_) return;
  told_ = true;
  static const wl_callback_listener listener = {
      .done =
          [](void* data, wl_callback* callback, std::uint32_t) {
            wl_callback_destroy(callback);
            report(QStringLiteral("cursor"), QString::fromUtf8(static_cast<PointerImage*>(data)->name_));
          },
  };
  wl_callback_add_listener(wl_display_sync(globals_.display), &listener, this);
}

bool PointerImage::showThemed() {
  if (!theme_ || themeScale_ != scale_) {
    if (theme_) wl_cursor_theme_destroy(theme_);
    const int size = qEnvironmentVariableIsSet("XCURSOR_SIZE") ? qEnvironmentVariableIntValue("XCURSOR_SIZE") : 24;
    const QByteArray theme = qEnvironmentVariable("XCURSOR_THEME", QStringLiteral("Adwaita")).toUtf8();
    theme_ = wl_cursor_theme_load(theme.constData(), size * scale_, globals_.shm);
    themeScale_ = scale_;
  }
  wl_cursor* cursor = theme_ ? wl_cursor_theme_get_cursor(theme_, name_.constData()) : nullptr;
  if (!cursor || cursor->image_count == 0) return false;
  wl_cursor_image& image = *cursor->images[0];
  // A theme may lack the larger size.
  const bool scales = image.width % scale_ == 0 && image.height % scale_ == 0;
  attach(wl_cursor_image_get_buffer(&image), scales ? scale_ : 1, static_cast<int>(image.hotspot_x),
         static_cast<int>(image.hotspot_y));
  return true;
}

// With a surface for each image: compositors do not always tell those who record the screen of another one on the same.
void PointerImage::attach(wl_buffer* buffer, int scale, int hotX, int hotY) {
  wl_surface* before = std::exchange(surface_, wl_compositor_create_surface(globals_.compositor));
  wl_surface_set_buffer_scale(surface_, scale);
  wl_surface_attach(surface_, buffer, 0, 0);
  wl_surface_damage_buffer(surface_, 0, 0, INT32_MAX, INT32_MAX);
  wl_surface_commit(surface_);
  wl_pointer_set_cursor(pointer_, serial_, surface_, hotX / scale, hotY / scale);
  if (before) wl_surface_destroy(before);
}

}  // namespace vantora::canvas
