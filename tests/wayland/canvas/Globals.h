// What the compositor offers.
#pragma once

#include <wayland-client.h>

#include <QSize>
#include <cstdint>
#include <list>

#include "viewporter-client-protocol.h"
#include "xdg-shell-client-protocol.h"

namespace vantora::canvas {

struct Output {
  wl_output* proxy = nullptr;
  std::uint32_t name = 0;  // In the registry.
  QSize pixels = {};       // As the monitor shows them.
  QSize mode = {};         // The same as the desktop sees them, upright.
  int transform = 0;
  int scale = 1;
};

// A connection to the compositor of the environment. Public members are null where the compositor lacks the interface.
class Globals {
 public:
  // Connects and waits for the list of interfaces and the outputs' modes.
  Globals();
  ~Globals();
  Globals(const Globals&) = delete;
  Globals& operator=(const Globals&) = delete;

  // Has all that a window needs.
  bool usable() const { return compositor && shm && shell && seat; }
  // In the order of their announcement; nullptr when there is no such output.
  const Output* output(int index) const;
  const Output* output(const wl_output* proxy) const;

  wl_display* display = nullptr;
  wl_compositor* compositor = nullptr;
  wl_shm* shm = nullptr;
  xdg_wm_base* shell = nullptr;
  wl_seat* seat = nullptr;
  wl_data_device_manager* dataDevices = nullptr;
  wp_viewporter* viewporter = nullptr;

 private:
  void add(wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t version);
  void addOutput(wl_registry* registry, std::uint32_t name, std::uint32_t version);

  wl_registry* registry_ = nullptr;
  std::uint32_t seatName_ = 0;  // In the registry.
  std::uint32_t seatVersion_ = 0;
  std::list<Output> outputs_;  // Listeners point at the elements.
};

}  // namespace vantora::canvas
