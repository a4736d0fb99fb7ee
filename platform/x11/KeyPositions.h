// Positions of keys on the keyboard, as XKB names them.
#pragma once

#include <QStringView>
#include <string_view>

namespace vantora {

// The XKB key name ("AC01") of the position that a viewer calls `code` ("KeyA"); empty when the
// position is unknown. Names say where a key sits, not what it types. Pure.
std::string_view xkbKeyName(QStringView code);

}  // namespace vantora
