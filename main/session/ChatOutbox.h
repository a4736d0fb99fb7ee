// What the local user says to the room.
#pragma once

#include <QString>
#include <optional>

#include "base/Json.h"

namespace vantora {

// The "chat_send" message for `text`: without white space and line breaks at both ends, cut to its first 1400
// characters. None when nothing is left to say. Pure.
std::optional<JsonObject> chatSendMessage(const QString& text);

}  // namespace vantora
