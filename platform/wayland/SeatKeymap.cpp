#include "platform/wayland/SeatKeymap.h"

#include <unistd.h>

#include <cstring>
#include <utility>

#include "base/process/FileDescriptor.h"

namespace vantora {
namespace {

// Larger than any layout's.
constexpr std::uint32_t kMaxSize = 1 << 20;

SeatKeymap& self(void* data) { return *static_cast<SeatKeymap*>(data); }

}  // namespace

SeatKeymap::SeatKeymap(const QString& socket, Handler changed)
    : changed_(std::move(changed)),
      connection_(socket, {.opened = [this](wl_display* display) { opened(display); }, .lost = [this] { lost(); }}) {}

void SeatKeymap::opened(wl_display* display) {
  static constexpr wl_registry_listener kListener{
      .global = [](void* data, wl_registry*, std::uint32_t name, const char* interface,
                   std::uint32_t) { self(data).offered(name, interface); },
      .global_remove = [](void* data, wl_registry*, std::uint32_t name) { self(data).withdrawn(name); }};
  registry_ = wl_display_get_registry(display);
  wl_registry_add_listener(registry_, &kListener, this);
}

void SeatKeymap::lost() {
  if (keyboard_ != nullptr) wl_keyboard_destroy(keyboard_);
  if (seat_ != nullptr) wl_seat_destroy(seat_);
  if (registry_ != nullptr) wl_registry_destroy(registry_);
  keyboard_ = nullptr;
  seat_ = nullptr;
  registry_ = nullptr;
}

// Desktops have one seat.
void SeatKeymap::offered(std::uint32_t name, const char* interface) {
  if (seat_ != nullptr || std::strcmp(interface, wl_seat_interface.name) != 0) return;
  static constexpr wl_seat_listener kListener{
      .capabilities = [](void* data, wl_seat*,
                         std::uint32_t has) { self(data).hasKeyboard((has & WL_SEAT_CAPABILITY_KEYBOARD) != 0); },
      .name = [](void*, wl_seat*, const char*) {}};
  seatName_ = name;
  seat_ = static_cast<wl_seat*>(wl_registry_bind(registry_, name, &wl_seat_interface, 1));
  wl_seat_add_listener(seat_, &kListener, this);
}

void SeatKeymap::withdrawn(std::uint32_t name) {
  if (seat_ != nullptr && name == seatName_) connection_.reopen();
}

// A seat without a keyboard gets one with the first key of the portal; its map stays known when it goes.
void SeatKeymap::hasKeyboard(bool has) {
  if (has == (keyboard_ != nullptr)) return;
  if (!has) return wl_keyboard_destroy(std::exchange(keyboard_, nullptr));
  static constexpr wl_keyboard_listener kListener{
      .keymap = [](void* data, wl_keyboard*, std::uint32_t format, std::int32_t descriptor,
                   std::uint32_t size) { self(data).received(format, descriptor, size); },
      .enter = [](void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {},
      .leave = [](void*, wl_keyboard*, std::uint32_t, wl_surface*) {},
      .key = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
      .modifiers = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                      std::uint32_t) {},
      .repeat_info = [](void*, wl_keyboard*, std::int32_t, std::int32_t) {}};
  keyboard_ = wl_seat_get_keyboard(seat_);
  wl_keyboard_add_listener(keyboard_, &kListener, this);
  connection_.confirm();
}

void SeatKeymap::received(std::uint32_t format, int descriptor, std::uint32_t size) {
  const FileDescriptor owned(descriptor);
  if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 || size == 0 || size > kMaxSize) return changed_({});
  // Read, not mapped: a file that shrinks would end the program.
  QByteArray text(static_cast<qsizetype>(size), '\0');
  qsizetype length = 0;
  while (length < text.size()) {
    const ssize_t got =
        ::pread(descriptor, text.data() + length, static_cast<std::size_t>(text.size() - length), length);
    if (got <= 0) break;
    length += got;
  }
  // It ends with a zero byte.
  const qsizetype end = text.indexOf('\0');
  changed_(text.left(end < 0 ? length : end));
}

}  // namespace vantora
