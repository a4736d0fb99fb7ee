#include "main/session/ChatOutbox.h"

#include "base/Characters.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr qsizetype kMaxCharacters = 1400;

}  // namespace

std::optional<JsonObject> chatSendMessage(const QString& text) {
  const QString trimmed = text.trimmed();
  if (trimmed.isEmpty()) return std::nullopt;
  return JsonObject{{u"type"_s, u"chat_send"_s}, {u"text"_s, firstCharacters(trimmed, kMaxCharacters)}};
}

}  // namespace vantora
