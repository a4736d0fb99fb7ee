#include "tests/wayland/canvas/Globals.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <type_traits>

namespace vantora::canvas {
namespace {

void turn(Output& output) { output.mode = output.transform % 2 != 0 ? output.pixels.transposed() : output.pixels; }

const wl_output_listener kOutputListener = {
    .geometry =
        [](void* data, wl_output*, int, int, int, int, int, const char*, const char*, int transform) {
          auto& output = *static_cast<Output*>(data);
          output.transform = transform;
          turn(output);
        },
    .mode =
        [](void* data, wl_output*, std::uint32_t flags, int width, int height, int) {
          auto& output = *static_cast<Output*>(data);
          if ((flags & WL_OUTPUT_MODE_CURRENT) == 0) return;
          output.pixels = QSize(width, height);
          turn(output);
        },
    .done = [](void*, wl_output*) {},
    .scale = [](void* data, wl_output*, int scale) { static_cast<Output*>(data)->scale = scale; },
    .name = [](void*, wl_output*, const char*) {},
    .description = [](void*, wl_output*, const char*) {},
};

const xdg_wm_base_listener kShellListener = {
    .ping = [](void*, xdg_wm_base* shell, std::uint32_t serial) { xdg_wm_base_pong(shell, serial); },
};

}  // namespace

Globals::Globals() : display(wl_display_connect(nullptr)) {
  if (!display) return;
  static const wl_registry_listener listener = {
      .global = [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                   std::uint32_t version) { static_cast<Globals*>(data)->add(registry, name, interface, version); },
      .global_remove =
          [](void* data, wl_registry*, std::uint32_t name) {
            auto& outputs = static_cast<Globals*>(data)->outputs_;
            // The proxy stays: the compositor may still mention it.
            std::erase_if(outputs, [&](const Output& output) { return output.name == name; });
          },
  };
  registry_ = wl_display_get_registry(display);
  wl_registry_add_listener(registry_, &listener, this);
  wl_display_roundtrip(display);  // The list,
  wl_display_roundtrip(display);  // then the modes.
  // Last: the listener that comes later must not miss what a seat has.
  if (seatVersion_ > 0) {
    seat = static_cast<wl_seat*>(
        wl_registry_bind(registry_, seatName_, &wl_seat_interface, std::min(seatVersion_, std::uint32_t{8})));
  }
}

Globals::~Globals() {
  if (display) wl_display_disconnect(display);
}

const Output* Globals::output(int index) const {
  return index >= 0 && index < static_cast<int>(outputs_.size()) ? &*std::next(outputs_.begin(), index) : nullptr;
}

const Output* Globals::output(const wl_output* proxy) const {
  const auto found = std::ranges::find(outputs_, proxy, &Output::proxy);
  return found == outputs_.end() ? nullptr : &*found;
}

void Globals::add(wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t version) {
  const auto bind = [&](auto*& proxy, const wl_interface& wanted, std::uint32_t newest) {
    if (std::strcmp(interface, wanted.name) != 0) return;
    proxy = static_cast<std::remove_reference_t<decltype(proxy)>>(
        wl_registry_bind(registry, name, &wanted, std::min(version, newest)));
  };
  bind(compositor, wl_compositor_interface, 4);
  bind(shm, wl_shm_interface, 1);
  bind(dataDevices, wl_data_device_manager_interface, 3);
  bind(viewporter, wp_viewporter_interface, 1);
  if (seatVersion_ == 0 && std::strcmp(interface, wl_seat_interface.name) == 0) {
    seatName_ = name;
    seatVersion_ = version;
  }
  if (!shell) {
    bind(shell, xdg_wm_base_interface, 1);
    if (shell) xdg_wm_base_add_listener(shell, &kShellListener, nullptr);
  }
  if (std::strcmp(interface, wl_output_interface.name) == 0) addOutput(registry, name, version);
}

void Globals::addOutput(wl_registry* registry, std::uint32_t name, std::uint32_t version) {
  auto* proxy = static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface, std::min(version, 4U)));
  Output& output = outputs_.emplace_back(Output{.proxy = proxy, .name = name});
  wl_output_add_listener(proxy, &kOutputListener, &output);
}

}  // namespace vantora::canvas
