// The keyboard map of a Wayland compositor.
#pragma once

#include <wayland-client.h>

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <functional>

#include "platform/wayland/WaylandConnection.h"

namespace vantora {

// A compositor gives it to every program that has the seat's keyboard, whether or not its windows have the focus.
// Thread: main.
class SeatKeymap {
 public:
  // The text of an XKB keymap; empty when it is not known any more. Called from the event loop.
  using Handler = std::function<void(const QByteArray& keymap)>;

  // `socket`: absolute path of the compositor's socket.
  SeatKeymap(const QString& socket, Handler changed);
  SeatKeymap(const SeatKeymap&) = delete;
  SeatKeymap& operator=(const SeatKeymap&) = delete;

 private:
  void opened(wl_display* display);
  void lost();
  void offered(std::uint32_t name, const char* interface);
  void withdrawn(std::uint32_t name);
  void hasKeyboard(bool has);
  void received(std::uint32_t format, int descriptor, std::uint32_t size);

  const Handler changed_;
  wl_registry* registry_ = nullptr;
  wl_seat* seat_ = nullptr;
  wl_keyboard* keyboard_ = nullptr;
  std::uint32_t seatName_ = 0;
  WaylandConnection connection_;  // Last: its end releases the others.
};

}  // namespace vantora
