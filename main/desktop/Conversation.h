// The conversation with the viewer, as long as the program runs.
#pragma once

#include <QList>

#include "base/Json.h"
#include "main/desktop/NumberedOutbox.h"

namespace vantora {

// What a new desktop process needs to go on where the one before it ended: the lines of the chat with those that it has
// shown already, and how many of them nobody has seen. Holds the last kMostUnits UTF-16 units, each line counted with
// kUnitsOfALine more for what stands around it in the window. Thread: main. Owner: DesktopProcessClient.
class Conversation {
 public:
  static constexpr qsizetype kMostUnits = 200000;
  static constexpr qsizetype kUnitsOfALine = 12;

  // Adds a line and returns the message that shows it: "chat" {number, from, text, ts}.
  JsonObject add(const QString& from, const QString& text, qint64 ts);
  // Lines up to `number` stand in the window, `unread` of them unseen; values that cannot be are ignored.
  void shown(qint64 number, qint64 unread);

  // Everything for a process that knows nothing: "conversation" {number, lines: [{from, text, ts}], unread} with what
  // was shown before, left out while that is nothing, and a "chat" for each line that was not.
  QList<JsonObject> messages() const;

 private:
  struct Line {
    QString from;
    QString text;
    qint64 ts = 0;
  };

  static qsizetype unitsOf(const Line& line) { return line.from.size() + line.text.size() + kUnitsOfALine; }
  static JsonObject chatMessage(qint64 number, const Line& line);

  NumberedOutbox<Line> lines_{{.weight = kMostUnits}};
  qint64 shown_ = 0;
  qint64 unread_ = 0;
};

}  // namespace vantora
