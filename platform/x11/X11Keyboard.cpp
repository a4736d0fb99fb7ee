#include "platform/x11/X11Keyboard.h"

// A field in the header has the name of a C++ keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <set>

#include "platform/x11/KeyPositions.h"
#include "platform/x11/X11Connection.h"

namespace vantora {
namespace {

// How to recognise a modifier's key: its expected position, and its symbols. Symbols are checked because users swap
// modifier keys (Caps Lock and Control, for example).
struct ModifierRule {
  const char* expectedName;
  std::array<xcb_keysym_t, 4> symbols;
};
constexpr std::array<ModifierRule, kModifiers.size()> kRules = {{
    {"LFSH", {0xffe1, 0xffe2}},                  // Shift_L, Shift_R
    {"LCTL", {0xffe3, 0xffe4}},                  // Control_L, Control_R
    {"LALT", {0xffe9, 0xffea, 0xffe7, 0xffe8}},  // Alt_L, Alt_R, Meta_L, Meta_R
    {"LWIN", {0xffeb, 0xffec, 0xffed, 0xffee}},  // Super_L, Super_R, Hyper_L, Hyper_R
    {"RALT", {0xfe03}},                          // ISO_Level3_Shift
}};

constexpr int kModifierRows = 8;
constexpr int kLockRow = 1;

std::string keyName(const char (&padded)[4]) {
  const char* end = std::find(padded, padded + 4, '\0');
  return {padded, end};
}

}  // namespace

void X11Keyboard::attach(X11Connection& server) {
  stale_ = true;
  watching_ = false;
  byName_.clear();
  modifiers_ = {};
  if (!server.offers(&xcb_xkb_id)) return;
  xcb_connection_t* const connection = server.current();
  if (connection == nullptr) return;
  const auto use = server.reply<xcb_xkb_use_extension_reply_t>(
      xcb_xkb_use_extension_unchecked(connection, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION));
  if (!use || use->supported == 0) return;
  firstXkbEvent_ = xcb_get_extension_data(connection, &xcb_xkb_id)->first_event;
  constexpr std::uint16_t kWhole = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_NAMES_NOTIFY;
  constexpr std::uint16_t kMapParts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
  xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, kWhole | XCB_XKB_EVENT_TYPE_MAP_NOTIFY, 0, kWhole,
                        kMapParts, kMapParts, nullptr);
  watching_ = true;
}

void X11Keyboard::noteEvent(const xcb_generic_event_t& event) {
  const int type = event.response_type & 0x7f;
  if (watching_ && type == firstXkbEvent_) stale_ = true;
  if (type == XCB_MAPPING_NOTIFY) stale_ = true;
}

void X11Keyboard::refresh(X11Connection& server) {
  if (!stale_ || !watching_ || server.current() == nullptr) return;
  stale_ = false;
  ++revision_;
  readNames(server);
  readModifiers(server);
}

void X11Keyboard::readNames(X11Connection& server) {
  byName_.clear();
  xcb_connection_t* const connection = server.current();
  if (connection == nullptr) return;
  constexpr std::uint32_t kWhich = XCB_XKB_NAME_DETAIL_KEY_NAMES | XCB_XKB_NAME_DETAIL_KEY_ALIASES;
  const auto reply =
      server.reply<xcb_xkb_get_names_reply_t>(xcb_xkb_get_names_unchecked(connection, XCB_XKB_ID_USE_CORE_KBD, kWhich));
  if (!reply) return;
  xcb_xkb_get_names_value_list_t list{};
  xcb_xkb_get_names_value_list_unpack(xcb_xkb_get_names_value_list(reply.get()), reply->nTypes, reply->indicators,
                                      reply->virtualMods, reply->groupNames, reply->nKeys, reply->nKeyAliases,
                                      reply->nRadioGroups, reply->which, &list);
  if ((reply->which & XCB_XKB_NAME_DETAIL_KEY_NAMES) != 0) {
    for (int index = 0; index < reply->nKeys; ++index) {
      const int keycode = reply->firstKey + index;
      if (keycode <= 255) byName_.emplace(keyName(list.keyNames[index].name), static_cast<Keycode>(keycode));
    }
  }
  byName_.erase(std::string());
  if ((reply->which & XCB_XKB_NAME_DETAIL_KEY_ALIASES) != 0) {
    for (int index = 0; index < reply->nKeyAliases; ++index) {
      if (const Keycode real = named(keyName(list.keyAliases[index].real))) {
        byName_.emplace(keyName(list.keyAliases[index].alias), real);
      }
    }
  }
}

void X11Keyboard::readModifiers(X11Connection& server) {
  modifiers_ = {};
  lockKeys_.reset();
  tableMask_ = altgrMask_ = 0;
  xcb_connection_t* const connection = server.current();
  if (connection == nullptr) return;
  const xcb_setup_t* setup = xcb_get_setup(connection);
  const int first = setup->min_keycode;
  const int count = setup->max_keycode - first + 1;
  const auto mappingCookie = xcb_get_modifier_mapping_unchecked(connection);
  const auto symbolsCookie =
      xcb_get_keyboard_mapping_unchecked(connection, setup->min_keycode, static_cast<std::uint8_t>(count));
  const auto mapping = server.reply<xcb_get_modifier_mapping_reply_t>(mappingCookie);
  const auto symbols = server.reply<xcb_get_keyboard_mapping_reply_t>(symbolsCookie);
  if (!mapping || !symbols || symbols->keysyms_per_keycode == 0) return;

  const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(symbols.get());
  const int keysymCount = xcb_get_keyboard_mapping_keysyms_length(symbols.get());
  const xcb_keycode_t* table = xcb_get_modifier_mapping_keycodes(mapping.get());
  const int perRow = mapping->keycodes_per_modifier;
  for (int at = kLockRow * perRow; at < (kLockRow + 1) * perRow; ++at) lockKeys_[table[at]] = true;
  lockKeys_[0] = false;  // Of free entries.

  for (std::size_t index = 0; index < kRules.size(); ++index) {
    const ModifierRule& rule = kRules[index];
    const auto gives = [&](Keycode key) {
      const int at = (key - first) * symbols->keysyms_per_keycode;
      return key >= first && at < keysymCount && keysyms[at] != 0 &&
             std::find(rule.symbols.begin(), rule.symbols.end(), keysyms[at]) != rule.symbols.end();
    };
    ModifierKeys& entry = modifiers_[index];
    std::set<Keycode> keys;
    Keycode firstMatch = 0;
    for (int row = 0; row < kModifierRows; ++row) {
      const xcb_keycode_t* begin = table + row * perRow;
      const xcb_keycode_t* match = std::find_if(begin, begin + perRow, gives);
      if (match == begin + perRow) continue;
      if (firstMatch == 0) firstMatch = *match;
      const auto mask = static_cast<std::uint8_t>(1U << row);
      tableMask_ |= mask;
      if (kModifiers[index] == Modifier::altgr) altgrMask_ = mask;
      std::copy_if(begin, begin + perRow, std::inserter(keys, keys.end()), [](Keycode key) { return key != 0; });
    }
    if (kModifiers[index] == Modifier::altgr) {
      // Its keys need no row: layouts give them a virtual modifier, which a key of no keyboard (LVL3) ties to its row.
      // That one is the last resort.
      const Keycode placeholder = named("LVL3");
      keys.clear();
      firstMatch = 0;
      for (int key = first; key <= setup->max_keycode; ++key) {
        if (!gives(static_cast<Keycode>(key))) continue;
        keys.insert(static_cast<Keycode>(key));
        if (firstMatch == 0 || firstMatch == placeholder) firstMatch = static_cast<Keycode>(key);
      }
    }
    const Keycode expected = named(rule.expectedName);
    entry.press = expected != 0 && gives(expected) ? expected : firstMatch;
    if (entry.press != 0) keys.insert(entry.press);
    entry.keys.assign(keys.begin(), keys.end());
  }
}

std::optional<X11Keyboard::State> X11Keyboard::readState(X11Connection& server) const {
  xcb_connection_t* const connection = server.current();
  if (!watching_ || connection == nullptr) return std::nullopt;
  const auto keymapCookie = xcb_query_keymap_unchecked(connection);
  const auto controlsCookie = xcb_xkb_get_controls_unchecked(connection, XCB_XKB_ID_USE_CORE_KBD);
  const auto stateCookie = xcb_xkb_get_state_unchecked(connection, XCB_XKB_ID_USE_CORE_KBD);
  const auto keymap = server.reply<xcb_query_keymap_reply_t>(keymapCookie);
  const auto controls = server.reply<xcb_xkb_get_controls_reply_t>(controlsCookie);
  const auto state = server.reply<xcb_xkb_get_state_reply_t>(stateCookie);
  if (!keymap || !controls || !state) return std::nullopt;
  return State{.down = keymapFromBytes(keymap->keys),
               .repeats = keymapFromBytes(controls->perKeyRepeat),
               .locked = state->lockedMods,
               .group = state->group};
}

std::uint8_t X11Keyboard::unwanted(std::uint8_t locked, Keycode keycode) const {
  const std::uint8_t caps = lockKeys_[keycode] ? 0 : XCB_MOD_MASK_LOCK;
  return static_cast<std::uint8_t>(locked & (tableMask_ | caps));
}

void X11Keyboard::setLocks(xcb_connection_t* connection, std::uint8_t modifiers, bool locked) const {
  if (!watching_ || modifiers == 0) return;
  xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, modifiers, locked ? modifiers : 0, 0, 0, 0, 0, 0);
}

void X11Keyboard::setRepeats(xcb_connection_t* connection, const Keymap& repeats) const {
  if (!watching_) return;
  std::array<std::uint8_t, 32> bytes{};
  for (std::size_t key = 0; key < repeats.size(); ++key) {
    if (repeats[key]) bytes[key / 8] = static_cast<std::uint8_t>(bytes[key / 8] | 1U << (key % 8));
  }
  // Only the named control is changed; the zeros are ignored.
  xcb_xkb_set_controls(connection, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                       XCB_XKB_CONTROL_PER_KEY_REPEAT, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, bytes.data());
}

Keycode X11Keyboard::keycode(std::uint16_t code) const { return named(std::string(xkbKeyName(code))); }

Keycode X11Keyboard::named(const std::string& name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? Keycode{0} : found->second;
}

}  // namespace vantora
