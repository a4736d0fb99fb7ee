#include "tests/wayland/canvas/Seat.h"

#include <unistd.h>

#include "tests/wayland/canvas/Report.h"

namespace vantora::canvas {
namespace {

QJsonArray point(wl_fixed_t x, wl_fixed_t y) { return {wl_fixed_to_double(x), wl_fixed_to_double(y)}; }

QJsonArray numbers(const wl_array& list) {
  QJsonArray all;
  const auto* values = static_cast<const std::uint32_t*>(list.data);
  for (std::size_t i = 0; i < list.size / sizeof *values; ++i) all.append(static_cast<qint64>(values[i]));
  return all;
}

}  // namespace

Seat::Seat(Globals& globals, Window& window, PointerImage& image)
    : seat_(globals.seat), window_(window), image_(image) {
  static const wl_seat_listener listener = {
      .capabilities = [](void* data, wl_seat*,
                         std::uint32_t capabilities) { static_cast<Seat*>(data)->offer(capabilities); },
      .name = [](void*, wl_seat*, const char*) {},
  };
  wl_seat_add_listener(seat_, &listener, this);
}

void Seat::offer(std::uint32_t capabilities) {
  report(QStringLiteral("seat"),
         QJsonObject{{QStringLiteral("pointer"), (capabilities & WL_SEAT_CAPABILITY_POINTER) != 0},
                     {QStringLiteral("keyboard"), (capabilities & WL_SEAT_CAPABILITY_KEYBOARD) != 0}});
  if ((capabilities & WL_SEAT_CAPABILITY_POINTER) == 0) {
    if (pointer_) wl_pointer_release(pointer_);
    pointer_ = nullptr;
    image_.left();
  } else if (!pointer_) {
    takePointer();
  }
  if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) == 0) {
    if (keyboard_) wl_keyboard_release(keyboard_);
    keyboard_ = nullptr;
    if (focused_) report(QStringLiteral("focus"), false);
    focused_ = false;
  } else if (!keyboard_) {
    takeKeyboard();
  }
}

void Seat::takePointer() {
  pointer_ = wl_seat_get_pointer(seat_);
  static const wl_pointer_listener listener = {
      .enter =
          [](void* data, wl_pointer* pointer, std::uint32_t serial, wl_surface*, wl_fixed_t x, wl_fixed_t y) {
            auto& self = *static_cast<Seat*>(data);
            report(QStringLiteral("enter"), point(x, y));
            self.image_.entered(pointer, serial, self.window_.outputScale());
          },
      .leave =
          [](void* data, wl_pointer*, std::uint32_t, wl_surface*) {
            report(QStringLiteral("leave"), true);
            static_cast<Seat*>(data)->image_.left();
          },
      .motion = [](void*, wl_pointer*, std::uint32_t, wl_fixed_t x,
                   wl_fixed_t y) { report(QStringLiteral("motion"), point(x, y)); },
      .button =
          [](void* data, wl_pointer*, std::uint32_t serial, std::uint32_t, std::uint32_t code, std::uint32_t state) {
            static_cast<Seat*>(data)->serial_ = serial;
            report(QStringLiteral("button"), QJsonArray{static_cast<qint64>(code), static_cast<qint64>(state)});
          },
      .axis =
          [](void* data, wl_pointer*, std::uint32_t, std::uint32_t axis, wl_fixed_t value) {
            Axis& moved = static_cast<Seat*>(data)->axes_[axis % 2];
            moved.value += wl_fixed_to_double(value);
            moved.moved = true;
          },
      .frame = [](void* data, wl_pointer*) { static_cast<Seat*>(data)->endFrame(); },
      .axis_source = [](void*, wl_pointer*, std::uint32_t) {},
      .axis_stop = [](void* data, wl_pointer*, std::uint32_t,
                      std::uint32_t axis) { static_cast<Seat*>(data)->axes_[axis % 2].stopped = true; },
      .axis_discrete = [](void* data, wl_pointer*, std::uint32_t axis,
                          int steps) { static_cast<Seat*>(data)->axes_[axis % 2].steps += steps; },
      .axis_value120 = [](void* data, wl_pointer*, std::uint32_t axis,
                          int value) { static_cast<Seat*>(data)->axes_[axis % 2].steps += value / 120.0; },
  };
  wl_pointer_add_listener(pointer_, &listener, this);
}

void Seat::endFrame() {
  for (int axis = 0; axis < 2; ++axis) {
    Axis& moved = axes_[static_cast<std::size_t>(axis)];
    if (moved.moved) report(QStringLiteral("axis"), QJsonArray{axis, moved.value, moved.steps});
    if (moved.stopped) report(QStringLiteral("axisStop"), axis);
    moved = {};
  }
}

void Seat::takeKeyboard() {
  keyboard_ = wl_seat_get_keyboard(seat_);
  static const wl_keyboard_listener listener = {
      .keymap = [](void* data, wl_keyboard*, std::uint32_t, int descriptor,
                   std::uint32_t size) { static_cast<Seat*>(data)->takeKeymap(descriptor, size); },
      .enter =
          [](void* data, wl_keyboard*, std::uint32_t serial, wl_surface*, wl_array* keys) {
            auto& self = *static_cast<Seat*>(data);
            self.serial_ = serial;
            self.focused_ = true;
            report(QStringLiteral("focus"), true);
            if (keys->size > 0) report(QStringLiteral("held"), numbers(*keys));
          },
      .leave =
          [](void* data, wl_keyboard*, std::uint32_t, wl_surface*) {
            static_cast<Seat*>(data)->focused_ = false;
            report(QStringLiteral("focus"), false);
          },
      .key =
          [](void* data, wl_keyboard*, std::uint32_t serial, std::uint32_t, std::uint32_t code, std::uint32_t state) {
            static_cast<Seat*>(data)->serial_ = serial;
            static_cast<Seat*>(data)->reportKey(code, state != 0);
          },
      .modifiers =
          [](void* data, wl_keyboard*, std::uint32_t, std::uint32_t depressed, std::uint32_t latched,
             std::uint32_t locked, std::uint32_t group) {
            if (xkb_state* const meaning = static_cast<Seat*>(data)->meaning_)
              xkb_state_update_mask(meaning, depressed, latched, locked, 0, 0, group);
            report(QStringLiteral("modifiers"), QJsonArray{static_cast<qint64>(depressed), static_cast<qint64>(latched),
                                                           static_cast<qint64>(locked)});
          },
      .repeat_info = [](void*, wl_keyboard*, int, int) {},
  };
  wl_keyboard_add_listener(keyboard_, &listener, this);
}

void Seat::takeKeymap(int descriptor, std::uint32_t size) {
  QByteArray text(static_cast<qsizetype>(size), '\0');
  const bool read = ::pread(descriptor, text.data(), size, 0) == static_cast<ssize_t>(size);
  ::close(descriptor);
  static xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES);
  if (!read) return;
  xkb_keymap* const keymap =
      xkb_keymap_new_from_string(context, text.constData(), XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
  if (!keymap) return;
  if (meaning_) xkb_state_unref(meaning_);
  meaning_ = xkb_state_new(keymap);
  xkb_keymap_unref(keymap);
}

void Seat::reportKey(std::uint32_t code, bool down) {
  report(QStringLiteral("key"), QJsonArray{static_cast<qint64>(code), down ? 1 : 0});
  if (!down || !meaning_) return;
  char32_t character = xkb_state_key_get_utf32(meaning_, code + 8);
  if (character == U'\r') character = U'\n';
  if (character != 0) report(QStringLiteral("text"), QString::fromUcs4(&character, 1));
}

}  // namespace vantora::canvas
