// The cursor that the canvas shows.
#pragma once

#include <wayland-client.h>
#include <wayland-cursor.h>

#include <QByteArray>
#include <cstdint>
#include <memory>

#include "tests/wayland/canvas/Globals.h"
#include "tests/wayland/canvas/ShmBuffer.h"

namespace vantora::canvas {

// Cursors of the theme XCURSOR_THEME (Adwaita) in the size XCURSOR_SIZE (24), an image that no theme has, or none.
class PointerImage {
 public:
  explicit PointerImage(Globals& globals) : globals_(globals) {}
  ~PointerImage();
  PointerImage(const PointerImage&) = delete;
  PointerImage& operator=(const PointerImage&) = delete;

  // `name`: of the theme, "none" or "bitmap". Takes effect when the pointer is over the window, which is reported.
  void choose(const QByteArray& name);
  // `scale`: of the output.
  void entered(wl_pointer* pointer, std::uint32_t serial, int scale);
  void left() { pointer_ = nullptr; }

 private:
  void show();
  bool showThemed();
  void attach(wl_buffer* buffer, int scale, int hotX, int hotY);

  Globals& globals_;
  QByteArray name_ = "default";
  bool told_ = true;
  wl_pointer* pointer_ = nullptr;
  std::uint32_t serial_ = 0;
  int scale_ = 1;
  wl_surface* surface_ = nullptr;
  wl_cursor_theme* theme_ = nullptr;
  int themeScale_ = 0;
  std::unique_ptr<ShmBuffer> drawn_;
};

}  // namespace vantora::canvas
