// A text of the viewer that arrives in pieces.
#pragma once

#include <QString>
#include <optional>

#include "base/Json.h"

namespace vantora {

// One piece as received; nothing in it has been validated.
struct TextPiece {
  qint64 id = 0;
  // Its index, from 0, and the number of pieces.
  qint64 part = 0;
  qint64 parts = 0;
  // Length of the whole text in bytes of UTF-8.
  qint64 length = 0;
  QString text;
};

// Empty when a field is missing or of the wrong type. Pure.
std::optional<TextPiece> textPieceOf(const JsonObject& message);

// Assembles pieces, one text at a time: the first piece of another text replaces an unfinished one. Pieces must come in
// order; one that does not continue its text drops that text. Never holds more than Clipboard::kMaxTextBytes. Thread:
// main. Owner: ClipboardSync.
class IncomingText {
 public:
  enum class Outcome {
    ignored,   // invalid, or not of the current text
    taken,     // more pieces are expected
    tooLong,   // the first piece of a text that is longer than allowed
    complete,  // takeText() has the text
  };
  Outcome take(const TextPiece& piece);
  // The text that is complete.
  QString takeText();
  // Forgets the unfinished text.
  void drop() { *this = {}; }

 private:
  bool begins(const TextPiece& piece) const;
  bool continues(const TextPiece& piece) const;

  qint64 id_ = 0;
  qint64 parts_ = 0;  // 0: no text is being received.
  qint64 next_ = 0;
  qint64 length_ = 0;
  qint64 received_ = 0;  // Bytes of UTF-8.
  QString text_;
};

}  // namespace vantora
