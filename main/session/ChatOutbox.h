// Chat messages of the local user to the room.
#pragma once

#include <QString>
#include <optional>

#include "base/Json.h"

namespace vantora {

// The "chat_send" message for `text`: without white space and line breaks at both ends, cut to its first 1400
// characters. Empty when no text remains. Pure.
std::optional<JsonObject> chatSendMessage(const QString& text);

}  // namespace vantora
