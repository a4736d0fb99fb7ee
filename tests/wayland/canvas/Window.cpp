#include "tests/wayland/canvas/Window.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "tests/wayland/canvas/Report.h"

namespace vantora::canvas {

Window::~Window() {
  buffers_.clear();
  if (viewport_) wp_viewport_destroy(viewport_);
  if (toplevel_) xdg_toplevel_destroy(toplevel_);
  if (shellSurface_) xdg_surface_destroy(shellSurface_);
  if (surface_) wl_surface_destroy(surface_);
}

void Window::create() {
  if (surface_) return;
  surface_ = wl_compositor_create_surface(globals_.compositor);
  static const wl_surface_listener surfaceListener = {
      .enter = [](void* data, wl_surface*, wl_output* output) { static_cast<Window*>(data)->output_ = output; },
      .leave = [](void*, wl_surface*, wl_output*) {},
  };
  wl_surface_add_listener(surface_, &surfaceListener, this);
  if (globals_.viewporter) viewport_ = wp_viewporter_get_viewport(globals_.viewporter, surface_);
  shellSurface_ = xdg_wm_base_get_xdg_surface(globals_.shell, surface_);
  static const xdg_surface_listener shellSurfaceListener = {
      .configure = [](void* data, xdg_surface*,
                      std::uint32_t serial) { static_cast<Window*>(data)->configured(serial); },
  };
  xdg_surface_add_listener(shellSurface_, &shellSurfaceListener, this);
  toplevel_ = xdg_surface_get_toplevel(shellSurface_);
  static const xdg_toplevel_listener toplevelListener = {
      .configure =
          [](void* data, xdg_toplevel*, int width, int height, wl_array* states) {
            auto& self = *static_cast<Window*>(data);
            self.offered_ = QSize(width, height);
            const auto* first = static_cast<const std::uint32_t*>(states->data);
            const auto* last = first + states->size / sizeof *first;
            self.covers_ = std::find(first, last, XDG_TOPLEVEL_STATE_FULLSCREEN) != last;
          },
      .close = [](void*, xdg_toplevel*) { report(QStringLiteral("close"), true); },
      .configure_bounds = nullptr,  // Of later versions.
      .wm_capabilities = nullptr,
  };
  xdg_toplevel_add_listener(toplevel_, &toplevelListener, this);
  xdg_toplevel_set_title(toplevel_, "canvas");
  xdg_toplevel_set_app_id(toplevel_, "wayland_canvas");
}

bool Window::showFullscreen(int outputIndex) {
  const Output* output = globals_.output(outputIndex);
  if (!output) return false;
  create();
  if (covers_ && wanted_ == output->proxy && !changes_) return announce_ = true;
  wanted_ = output->proxy;
  changes_ = true;
  xdg_toplevel_set_fullscreen(toplevel_, output->proxy);
  if (!mapped_) wl_surface_commit(surface_);
  return true;
}

void Window::showWindowed(QSize size) {
  create();
  const bool covers = wanted_ != nullptr;
  wanted_ = nullptr;
  windowed_ = size;
  if (covers || !mapped_) {
    changes_ = true;
    if (covers) xdg_toplevel_unset_fullscreen(toplevel_);
    if (!mapped_) wl_surface_commit(surface_);
    return;
  }
  // The compositor has no part in the size of such a window.
  announce_ = true;
  resize(size);
  flush();
}

void Window::configured(std::uint32_t serial) {
  xdg_surface_ack_configure(shellSurface_, serial);
  resize(covers_ && !offered_.isEmpty() ? offered_ : windowed_.isEmpty() ? QSize(640, 480) : windowed_);
  mapped_ = true;
  if (covers_ == (wanted_ != nullptr)) announce_ |= std::exchange(changes_, false);
  flush();
  wl_surface_commit(surface_);  // Also without a change of the picture, for the acknowledgement.
}

void Window::resize(QSize layout) {
  QSize units = layout;
  int bufferScale = 1;
  bool scaled = false;
  const Output* output = covers_ ? globals_.output(wanted_) : nullptr;
  if (output && !output->mode.isEmpty()) {
    const QSize mode = output->mode;
    units = mode;
    bufferScale = mode.width() / layout.width();
    if (layout * bufferScale != mode) {
      bufferScale = 1;
      scaled = viewport_ != nullptr;
      if (!scaled) units = layout;
    }
  }
  if (layout == layout_ && units == units_) return;
  layout_ = layout;
  wl_surface_set_buffer_scale(surface_, bufferScale);
  if (viewport_) wp_viewport_set_destination(viewport_, scaled ? layout.width() : -1, scaled ? layout.height() : -1);
  announce_ = true;
  damage_.assign(1, QRect(QPoint(0, 0), units));
  if (units == units_) return;
  units_ = units;
  picture_.assign(static_cast<std::size_t>(units.width()) * units.height(), background_);
  buffers_.clear();
}

void Window::fill(std::uint32_t rgb, const QRect& area) {
  ++paints_;
  // Before its first size there is only the background.
  if (picture_.empty()) return;
  const QRect inside = area & QRect(QPoint(0, 0), units_);
  for (int y = inside.top(); y <= inside.bottom(); ++y) {
    const auto row = picture_.begin() + static_cast<std::ptrdiff_t>(y) * units_.width();
    std::fill_n(row + inside.left(), inside.width(), rgb | 0xff000000);
  }
  damage_.push_back(inside);
}

void Window::clear(std::uint32_t rgb) {
  background_ = rgb | 0xff000000;
  fill(rgb, {QPoint(0, 0), units_});
}

void Window::animate() {
  if (!mapped_) return;
  const int paints = paints_;
  const int width = std::max(1, units_.width() / 16);
  fill(background_, {step_ * width, 0, width, units_.height()});
  step_ = (step_ + 1) % 16;
  fill(~background_ & 0xffffff, {step_ * width, 0, width, units_.height()});
  paints_ = paints;  // Only those that were asked for are counted.
  flush();
}

void Window::flush() {
  if (!mapped_ || (damage_.empty() && !announce_)) return;
  ShmBuffer* buffer = freeBuffer();
  if (!buffer) return;  // Again when one is released.
  std::ranges::copy(picture_, buffer->pixels());
  buffer->setBusy();
  wl_surface_attach(surface_, buffer->proxy(), 0, 0);
  for (const QRect& area : damage_) wl_surface_damage_buffer(surface_, area.x(), area.y(), area.width(), area.height());
  damage_.clear();

  struct Pending {
    Window& window;
    int paints;
    QSize announced;
  };
  static const wl_callback_listener listener = {
      .done =
          [](void* data, wl_callback* callback, std::uint32_t) {
            wl_callback_destroy(callback);
            const std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
            if (const QSize units = pending->announced; !units.isEmpty())
              report(QStringLiteral("ready"), QJsonArray{units.width(), units.height()});
            pending->window.presented(pending->paints);
          },
  };
  wl_callback_add_listener(wl_surface_frame(surface_), &listener,
                           new Pending{*this, paints_, announce_ ? units_ : QSize()});
  announce_ = false;
  wl_surface_commit(surface_);
}

ShmBuffer* Window::freeBuffer() {
  const auto idle = std::ranges::find_if(buffers_, [](const ShmBuffer& buffer) { return !buffer.busy(); });
  if (idle != buffers_.end()) return &*idle;
  if (buffers_.size() >= 4) return nullptr;
  return &buffers_.emplace_back(globals_.shm, units_, [this] { flush(); });
}

void Window::presented(int paints) {
  for (; reported_ < paints; ++reported_) report(QStringLiteral("painted"), reported_ + 1);
}

int Window::outputScale() const {
  const Output* output = globals_.output(output_);
  return output ? output->scale : 1;
}

}  // namespace vantora::canvas
