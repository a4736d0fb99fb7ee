// What the keys of a keyboard type, by the map that a Wayland compositor gives its programs.
#pragma once

#include <QByteArrayView>
#include <cstdint>
#include <map>
#include <optional>
#include <set>

namespace vantora {

// Of a map with several layouts only some characters have one place: which layout is in use is told to nobody but the
// program with the keyboard. A value; pure.
class KeyLayout {
 public:
  // How to type a character. `code`: the kernel's number of the key.
  struct Stroke {
    std::uint16_t code = 0;
    bool shift = false;
    bool altgr = false;
    bool operator==(const Stroke&) const = default;
  };

  // From the text of an XKB keymap; nullopt when it is none.
  static std::optional<KeyLayout> parse(QByteArrayView text);

  // The stroke with the fewest modifiers that types this character, whichever of the layouts is in use. The keypad is
  // left out, since its keys depend on Num Lock.
  std::optional<Stroke> find(char32_t character) const;
  // Whether one of the layouts has it.
  bool has(char32_t character) const { return all_.contains(character); }
  // The kernel's number of the key that shifts to the third level, at most 247; 0 without one.
  std::uint16_t altgrKey() const { return altgrKey_; }

 private:
  std::map<char32_t, Stroke> sure_;
  std::set<char32_t> all_;
  std::uint16_t altgrKey_ = 0;
};

}  // namespace vantora
