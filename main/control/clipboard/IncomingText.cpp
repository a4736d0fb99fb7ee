#include "main/control/clipboard/IncomingText.h"

#include <utility>

#include "base/Characters.h"
#include "platform/Clipboard.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

std::optional<TextPiece> textPieceOf(const JsonObject& message) {
  const auto id = integerField(message, "id"_L1);
  const auto part = integerField(message, "part"_L1);
  const auto parts = integerField(message, "parts"_L1);
  const auto length = integerField(message, "length"_L1);
  auto text = stringField(message, "text"_L1);
  if (!id || !part || !parts || !length || !text) return std::nullopt;
  return TextPiece{.id = *id, .part = *part, .parts = *parts, .length = *length, .text = *std::move(text)};
}

// No piece is empty, so there are at most as many pieces as bytes.
bool IncomingText::begins(const TextPiece& piece) const {
  return piece.part == 0 && piece.parts > 0 && piece.parts <= piece.length;
}

bool IncomingText::continues(const TextPiece& piece) const {
  return piece.parts == parts_ && piece.length == length_ && piece.part == next_;
}

IncomingText::Outcome IncomingText::take(const TextPiece& piece) {
  if (piece.part == 0) {
    drop();
    if (!begins(piece)) return Outcome::ignored;
    if (piece.length > Clipboard::kMaxTextBytes) return Outcome::tooLong;
    id_ = piece.id;
    parts_ = piece.parts;
    length_ = piece.length;
  } else if (parts_ == 0 || piece.id != id_) {
    return Outcome::ignored;  // A piece of a text that was replaced, refused or dropped.
  }
  const qint64 bytes = utf8Length(piece.text);
  const bool last = next_ + 1 == parts_;
  const bool fits = last ? received_ + bytes == length_ : received_ + bytes < length_;
  if (!continues(piece) || bytes == 0 || !fits) {
    drop();
    return Outcome::ignored;
  }
  text_ += piece.text;
  received_ += bytes;
  ++next_;
  return last ? Outcome::complete : Outcome::taken;
}

QString IncomingText::takeText() {
  QString text = std::move(text_);
  drop();
  return text;
}

}  // namespace vantora
