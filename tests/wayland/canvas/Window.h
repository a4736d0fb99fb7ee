// The picture that the canvas shows.
#pragma once

#include <QRect>
#include <QSize>
#include <cstdint>
#include <functional>
#include <list>
#include <vector>

#include "tests/wayland/canvas/Globals.h"
#include "tests/wayland/canvas/ShmBuffer.h"

namespace vantora::canvas {

// One top-level window with a picture. Painted units are pixels of the output while the window covers it: with an
// integer scale through the buffer's scale, else through a viewport. In a window of its own size they are layout units.
class Window {
 public:
  explicit Window(Globals& globals) : globals_(globals) {}
  ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  // Shows the window, or changes what it covers. False: there is no such output.
  bool showFullscreen(int outputIndex);
  void showWindowed(QSize size);
  bool shown() const { return toplevel_ != nullptr; }
  // Changes the picture; presented with the next flush().
  void fill(std::uint32_t rgb, const QRect& area);
  // Fills all of it, also what a later size adds.
  void clear(std::uint32_t rgb);
  // The next image of a moving stripe.
  void animate();
  // Sends what was painted, as soon as the compositor leaves a buffer free.
  void flush();

  wl_surface* surface() const { return surface_; }
  QSize units() const { return units_; }
  // Of the output that shows it.
  int outputScale() const;

 private:
  void create();
  void configured(std::uint32_t serial);
  void resize(QSize layout);
  ShmBuffer* freeBuffer();
  void presented(int paints);

  Globals& globals_;
  wl_surface* surface_ = nullptr;
  xdg_surface* shellSurface_ = nullptr;
  xdg_toplevel* toplevel_ = nullptr;
  wp_viewport* viewport_ = nullptr;
  const wl_output* output_ = nullptr;  // Shows it, as far as known.
  wl_output* wanted_ = nullptr;        // To cover; nullptr: in a window of its own size.
  QSize windowed_;
  QSize offered_;        // By the compositor with the next configure,
  bool covers_ = false;  // and whether it covers the output then.
  QSize layout_;         // Layout units.
  QSize units_;          // Painted units.
  bool mapped_ = false;
  bool changes_ = false;   // A configure is due after a command.
  bool announce_ = false;  // The next frame is to be announced as ready.

  std::uint32_t background_ = 0xff000000;
  std::vector<std::uint32_t> picture_;
  std::vector<QRect> damage_;
  std::list<ShmBuffer> buffers_;
  int paints_ = 0;
  int reported_ = 0;
  int step_ = 0;
};

}  // namespace vantora::canvas
