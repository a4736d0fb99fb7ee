// Pointer and keyboard events of the canvas, reported as they come.
#pragma once

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <array>
#include <cstdint>

#include "tests/wayland/canvas/Globals.h"
#include "tests/wayland/canvas/PointerImage.h"
#include "tests/wayland/canvas/Window.h"

namespace vantora::canvas {

class Seat {
 public:
  Seat(Globals& globals, Window& window, PointerImage& image);
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;

  bool focused() const { return focused_; }
  // Of the latest event that may justify a request.
  std::uint32_t serial() const { return serial_; }

 private:
  struct Axis {
    double value = 0;
    double steps = 0;
    bool moved = false;
    bool stopped = false;
  };

  void offer(std::uint32_t capabilities);
  void takePointer();
  void takeKeyboard();
  void takeKeymap(int descriptor, std::uint32_t size);
  void reportKey(std::uint32_t code, bool down);
  void endFrame();

  wl_seat* seat_;
  Window& window_;
  PointerImage& image_;
  wl_pointer* pointer_ = nullptr;
  wl_keyboard* keyboard_ = nullptr;
  std::array<Axis, 2> axes_;
  xkb_state* meaning_ = nullptr;  // Of the keys.
  bool focused_ = false;
  std::uint32_t serial_ = 0;
};

}  // namespace vantora::canvas
