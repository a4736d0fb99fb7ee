#include "platform/KeyLayout.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <memory>
#include <tuple>
#include <utility>

namespace vantora {
namespace {

// Between the kernel's numbers and those of a keymap.
constexpr xkb_keycode_t kOffset = 8;
// Desktops let others press no key beyond it; maps have more.
constexpr xkb_keycode_t kHighestPressed = 255;
constexpr xkb_keycode_t kHighest = 1023;
// A key of no keyboard, by which layouts without a key for the third level reach it all the same.
constexpr std::uint16_t kPlaceholder = 84;

using Context = std::unique_ptr<xkb_context, decltype(&xkb_context_unref)>;
using Keymap = std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)>;
using State = std::unique_ptr<xkb_state, decltype(&xkb_state_unref)>;

// Function keys, the keypad and dead keys.
bool isText(xkb_keysym_t symbol) { return symbol != 0 && (symbol < 0xfd00 || symbol > 0xffff); }

template <typename Visit>
void forEachKey(xkb_keymap* keymap, const Visit& visit) {
  const xkb_keycode_t last = std::min(xkb_keymap_max_keycode(keymap), kHighest);
  for (xkb_keycode_t key = std::max(xkb_keymap_min_keycode(keymap), kOffset + 1); key <= last; ++key) visit(key);
}

// In any layout, since a key without one of its own has that of the first.
std::uint16_t findAltgr(xkb_keymap* keymap) {
  std::uint16_t found = 0;
  forEachKey(keymap, [&](xkb_keycode_t key) {
    if (key > kHighestPressed) return;
    const auto code = static_cast<std::uint16_t>(key - kOffset);
    for (xkb_layout_index_t layout = 0; layout < xkb_keymap_num_layouts_for_key(keymap, key); ++layout) {
      const xkb_keysym_t* symbols = nullptr;
      const int count = xkb_keymap_key_get_syms_by_level(keymap, key, layout, 0, &symbols);
      if (count != 1 || symbols[0] != XKB_KEY_ISO_Level3_Shift) continue;
      if (found == 0 || found == kPlaceholder || code == KEY_RIGHTALT) found = code;
    }
  });
  return found;
}

// What a key does alone.
xkb_mod_mask_t maskOf(xkb_keymap* keymap, std::uint16_t code) {
  const State state(xkb_state_new(keymap), &xkb_state_unref);
  xkb_state_update_key(state.get(), code + kOffset, XKB_KEY_DOWN);
  return xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED);
}

// Those of keys that nobody else presses have code 0.
std::map<char32_t, KeyLayout::Stroke> strokesOf(xkb_keymap* keymap, xkb_layout_index_t layout, xkb_mod_mask_t shiftMask,
                                                xkb_mod_mask_t altgrMask) {
  std::map<char32_t, KeyLayout::Stroke> strokes;
  const State state(xkb_state_new(keymap), &xkb_state_unref);
  for (const auto& [shift, altgr] : {std::pair{false, false}, {true, false}, {false, true}, {true, true}}) {
    if (altgr && altgrMask == 0) continue;
    const xkb_mod_mask_t mask = (shift ? shiftMask : 0) | (altgr ? altgrMask : 0);
    xkb_state_update_mask(state.get(), mask, 0, 0, 0, 0, layout);
    forEachKey(keymap, [&, isShift = shift, isAltgr = altgr](xkb_keycode_t key) {
      const xkb_keysym_t symbol = xkb_state_key_get_one_sym(state.get(), key);
      const char32_t character = isText(symbol) ? xkb_keysym_to_utf32(symbol) : 0;
      const auto code = static_cast<std::uint16_t>(key > kHighestPressed ? 0 : key - kOffset);
      if (character == 0) return;
      const auto [stroke, added] = strokes.try_emplace(character, KeyLayout::Stroke{code, isShift, isAltgr});
      if (!added && stroke->second.code == 0) stroke->second = {code, isShift, isAltgr};
    });
  }
  return strokes;
}

}  // namespace

std::optional<KeyLayout> KeyLayout::parse(QByteArrayView text) {
  constexpr int kNothingElse = XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES;
  const Context context(xkb_context_new(static_cast<xkb_context_flags>(kNothingElse)), &xkb_context_unref);
  if (!context) return std::nullopt;
  // Standard error is for the program's own log.
  xkb_context_set_log_fn(context.get(), [](xkb_context*, xkb_log_level, const char*, va_list) {});
  const Keymap keymap(xkb_keymap_new_from_buffer(context.get(), text.data(), static_cast<std::size_t>(text.size()),
                                                 XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS),
                      &xkb_keymap_unref);
  if (!keymap) return std::nullopt;

  KeyLayout result;
  result.altgrKey_ = findAltgr(keymap.get());
  const xkb_mod_mask_t shiftMask = maskOf(keymap.get(), KEY_LEFTSHIFT);
  const xkb_mod_mask_t altgrMask = result.altgrKey_ != 0 ? maskOf(keymap.get(), result.altgrKey_) : 0;
  for (xkb_layout_index_t layout = 0; layout < xkb_keymap_num_layouts(keymap.get()); ++layout) {
    auto strokes = strokesOf(keymap.get(), layout, shiftMask, altgrMask);
    for (const auto& stroke : strokes) result.all_.insert(stroke.first);
    if (layout == 0) {
      std::erase_if(strokes, [](const auto& stroke) { return stroke.second.code == 0; });
      result.sure_ = std::move(strokes);
      continue;
    }
    std::erase_if(result.sure_, [&strokes](const auto& stroke) {
      const auto same = strokes.find(stroke.first);
      return same == strokes.end() || same->second != stroke.second;
    });
  }
  return result;
}

std::optional<KeyLayout::Stroke> KeyLayout::find(char32_t character) const {
  const auto found = sure_.find(character);
  return found == sure_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace vantora
