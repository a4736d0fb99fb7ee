#include "platform/x11/X11Layout.h"

// A field in the header has the name of a C++ keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon.h>

#include <algorithm>

namespace vantora {
namespace {

// Function keys, the keypad and dead keys; they give control characters, or digits that depend on Num Lock.
bool isText(xcb_keysym_t symbol) { return symbol != 0 && (symbol < 0xfd00 || symbol > 0xffff); }

}  // namespace

bool X11Layout::read(X11Connection& server, std::uint8_t altgrMask) {
  xcb_connection_t* const connection = server.current();
  if (connection == nullptr) return false;
  constexpr std::uint16_t kParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS;
  const auto reply = server.reply<xcb_xkb_get_map_reply_t>(xcb_xkb_get_map_unchecked(
      connection, XCB_XKB_ID_USE_CORE_KBD, kParts, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
  if (!reply || (reply->present & kParts) != kParts) return false;
  xcb_xkb_get_map_map_t map{};
  xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms, reply->nKeyActions,
                             reply->totalActions, reply->totalKeyBehaviors, reply->virtualMods, reply->totalKeyExplicit,
                             reply->totalModMapKeys, reply->totalVModMapKeys, reply->present, &map);

  altgrMask_ = altgrMask;
  types_.clear();
  keys_.clear();
  spare_.clear();
  strokes_ = {};
  for (auto type = xcb_xkb_get_map_map_types_rtrn_iterator(reply.get(), &map); type.rem > 0;
       xcb_xkb_key_type_next(&type)) {
    KeyType& added = types_.emplace_back(KeyType{.mask = type.data->mods_mask});
    const xcb_xkb_kt_map_entry_t* const entries = xcb_xkb_key_type_map(type.data);
    for (int at = 0; at < xcb_xkb_key_type_map_length(type.data); ++at) {
      if (entries[at].active != 0) added.levels.emplace(entries[at].mods_mask, entries[at].level);
    }
  }
  int keycode = reply->firstKeySym;
  for (auto key = xcb_xkb_get_map_map_syms_rtrn_iterator(reply.get(), &map); key.rem > 0 && keycode <= 255;
       xcb_xkb_key_sym_map_next(&key), ++keycode) {
    const xcb_keysym_t* const symbols = xcb_xkb_key_sym_map_syms(key.data);
    const xcb_keysym_t* const end = symbols + xcb_xkb_key_sym_map_syms_length(key.data);
    if (std::all_of(symbols, end, [](xcb_keysym_t symbol) { return symbol == 0; })) {
      spare_.push_back(static_cast<Keycode>(keycode));
      continue;
    }
    Key& added = keys_[static_cast<Keycode>(keycode)];
    std::copy_n(key.data->kt_index, added.types.size(), added.types.begin());
    added.groupInfo = key.data->groupInfo;
    added.groups = key.data->groupInfo & 0x0f;
    added.width = key.data->width;
    added.symbols.assign(symbols, end);
  }
  return true;
}

// A key with fewer groups than the keyboard says what it does in the others.
std::optional<int> X11Layout::groupOf(const Key& key, int group) {
  if (key.groups == 0) return std::nullopt;
  if (group < key.groups) return group;
  if ((key.groupInfo & XCB_XKB_GROUPS_WRAP_CLAMP_INTO_RANGE) != 0) return key.groups - 1;
  if ((key.groupInfo & XCB_XKB_GROUPS_WRAP_REDIRECT_INTO_RANGE) != 0) {
    const int target = (key.groupInfo >> 4) & 3;
    return target < key.groups ? target : 0;
  }
  return group % key.groups;
}

X11Layout::Strokes X11Layout::strokesOf(int group, const SpareKeys& ours) const {
  Strokes strokes;
  for (const auto& [shift, altgr] : {std::pair{false, false}, {true, false}, {false, true}, {true, true}}) {
    if (altgr && altgrMask_ == 0) continue;
    const auto modifiers = static_cast<std::uint8_t>((shift ? XCB_MOD_MASK_SHIFT : 0) | (altgr ? altgrMask_ : 0));
    for (const auto& [keycode, key] : keys_) {
      const auto actual = groupOf(key, group);
      if (!actual || ours.symbolsOf(keycode)[0] != 0) continue;
      const std::size_t typeIndex = key.types[static_cast<std::size_t>(*actual)];
      if (typeIndex >= types_.size()) continue;
      const KeyType& type = types_[typeIndex];
      const auto found = type.levels.find(static_cast<std::uint8_t>(modifiers & type.mask));
      const std::size_t level = found == type.levels.end() ? 0U : found->second;
      const std::size_t at = static_cast<std::size_t>(*actual) * static_cast<std::size_t>(key.width) + level;
      if (level >= static_cast<std::size_t>(key.width) || at >= key.symbols.size() || !isText(key.symbols[at]))
        continue;
      const char32_t character = xkb_keysym_to_utf32(key.symbols[at]);
      if (character != 0) strokes.try_emplace(character, Stroke{.keycode = keycode, .shift = shift, .altgr = altgr});
    }
  }
  return strokes;
}

std::optional<X11Layout::Stroke> X11Layout::find(char32_t character, int group, const SpareKeys& ours) {
  auto& strokes = strokes_[static_cast<std::size_t>(std::clamp(group, 0, 3))];
  if (!strokes) strokes = strokesOf(std::clamp(group, 0, 3), ours);
  const auto found = strokes->find(character);
  return found == strokes->end() ? std::nullopt : std::optional(found->second);
}

SpareKeys::Symbols X11Layout::symbolsOf(Keycode keycode) const {
  const auto found = keys_.find(keycode);
  if (found == keys_.end()) return {};
  const std::vector<xcb_keysym_t>& symbols = found->second.symbols;
  const xcb_keysym_t second = found->second.width > 1 && symbols.size() > 1 ? symbols[1] : 0;
  return {symbols[0], second == symbols[0] ? 0 : second};
}

}  // namespace vantora
