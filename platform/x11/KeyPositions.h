// Positions of keys on the keyboard, as XKB names them.
#pragma once

#include <cstdint>
#include <string_view>

namespace vantora {

// The XKB key name ("AC01") of the position that the kernel numbers `code` (KEY_A); empty when the position is unknown.
// Names describe a key's position, not what it types. Pure.
std::string_view xkbKeyName(std::uint16_t code);

}  // namespace vantora
