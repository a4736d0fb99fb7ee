#include "platform/x11/SpareKeys.h"

#include <algorithm>

namespace vantora {
namespace {

bool isFree(const SpareKeys::Key& key) { return key.symbols[0] == 0; }

}  // namespace

void SpareKeys::update(std::span<const Keycode> spare, const std::function<Symbols(Keycode)>& symbolsOf) {
  std::erase_if(keys_, [&](Key& key) {
    if (std::ranges::find(spare, key.keycode) != spare.end()) {
      key.symbols = {};
      return false;
    }
    return isFree(key) || symbolsOf(key.keycode) != key.symbols;
  });
  for (const Keycode keycode : spare) {
    if (std::ranges::find(keys_, keycode, &Key::keycode) == keys_.end()) keys_.push_back({.keycode = keycode});
  }
}

std::vector<Keycode> SpareKeys::assign(std::span<const xcb_keysym_t> wanted, Clock::time_point now) {
  std::vector<Keycode> changed;
  std::vector<Keycode> kept;
  for (const xcb_keysym_t symbol : wanted) {
    if (const auto place = find(symbol)) {
      kept.push_back(place->keycode);
      continue;
    }
    Key* const key = choose(kept, now);
    if (key == nullptr) break;
    const bool half = key->symbols[0] != 0 && key->symbols[1] == 0;
    key->symbols = half ? Symbols{key->symbols[0], symbol} : Symbols{symbol, 0};
    key->used = now;
    kept.push_back(key->keycode);
    if (std::ranges::find(changed, key->keycode) == changed.end()) changed.push_back(key->keycode);
  }
  return changed;
}

// One with room for a second symbol, else a free one, else the one used longest ago.
SpareKeys::Key* SpareKeys::choose(std::span<const Keycode> kept, Clock::time_point now) {
  for (Key& key : keys_) {
    if (key.symbols[0] != 0 && key.symbols[1] == 0) return &key;
  }
  const auto free = std::ranges::find_if(keys_, isFree);
  if (free != keys_.end()) return &*free;
  Key* oldest = nullptr;
  for (Key& key : keys_) {
    if (now - key.used < kSettle || std::ranges::find(kept, key.keycode) != kept.end()) continue;
    if (oldest == nullptr || key.used < oldest->used) oldest = &key;
  }
  if (oldest != nullptr) oldest->symbols = {};
  return oldest;
}

std::optional<SpareKeys::Place> SpareKeys::find(xcb_keysym_t symbol) const {
  for (const Key& key : keys_) {
    if (key.symbols[0] == symbol) return Place{.keycode = key.keycode};
    if (key.symbols[1] == symbol) return Place{.keycode = key.keycode, .shift = true};
  }
  return std::nullopt;
}

void SpareKeys::noteUse(Keycode keycode, Clock::time_point now) {
  const auto key = std::ranges::find(keys_, keycode, &Key::keycode);
  if (key != keys_.end()) key->used = now;
}

SpareKeys::Clock::duration SpareKeys::untilFree(Clock::time_point now) const {
  if (keys_.empty()) return {};
  const auto oldest = std::ranges::min_element(keys_, {}, &Key::used);
  return std::max<Clock::duration>(oldest->used + kSettle - now, Clock::duration::zero());
}

std::vector<Keycode> SpareKeys::clear() {
  std::vector<Keycode> changed;
  for (Key& key : keys_) {
    if (isFree(key)) continue;
    key.symbols = {};
    changed.push_back(key.keycode);
  }
  return changed;
}

bool SpareKeys::holdsAny() const {
  return std::ranges::any_of(keys_, [](const Key& key) { return !isFree(key); });
}

SpareKeys::Symbols SpareKeys::symbolsOf(Keycode keycode) const {
  const auto key = std::ranges::find(keys_, keycode, &Key::keycode);
  return key == keys_.end() ? Symbols{} : key->symbols;
}

}  // namespace vantora
