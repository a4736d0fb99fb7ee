// A text of the viewer that arrives in pieces.
#pragma once

#include <QString>
#include <optional>

#include "base/Json.h"

namespace vantora {

// One piece, as it stands in a message; nothing in it has been checked.
struct TextPiece {
  qint64 id = 0;
  // Its number, counted from 0, and how many there are.
  qint64 part = 0;
  qint64 parts = 0;
  // Of the whole text, in bytes of UTF-8.
  qint64 length = 0;
  QString text;
};

// None when a field is missing or of the wrong type. Pure.
std::optional<TextPiece> textPieceOf(const JsonObject& message);

// Puts pieces together, for one text at a time: the first piece of another takes the place of an unfinished one. Pieces
// must come in order; one that does not continue its text ends it. Holds Clipboard::kMaxTextBytes at most, whatever
// comes. Thread: main. Owner: ClipboardSync.
class IncomingText {
 public:
  enum class Outcome {
    ignored,   // wrong, or of no text that is under way
    taken,     // more are to come
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
  qint64 parts_ = 0;  // 0: no text is under way.
  qint64 next_ = 0;
  qint64 length_ = 0;
  qint64 received_ = 0;  // Bytes of UTF-8.
  QString text_;
};

}  // namespace vantora
