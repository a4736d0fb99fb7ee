// The conversation with the viewer, as long as the program runs.
#pragma once

#include <QList>

#include "base/Json.h"
#include "main/desktop/NumberedOutbox.h"

namespace vantora {

// What a new desktop process needs to continue where the previous one ended: the lines of the chat, how many of them
// were shown already, and how many of those the user has not seen. Holds the last kMaxUnits UTF-16 units; each line
// counts kUnitsOfALine more for the text around it in the window. Thread: main. Owner: DesktopProcessClient.
class ChatBacklog {
 public:
  static constexpr qsizetype kMaxUnits = 200000;
  static constexpr qsizetype kUnitsOfALine = 12;

  // Adds a line and returns the message that shows it: "chat" {number, from, text, ts}.
  JsonObject add(const QString& from, const QString& text, qint64 ts);
  // Lines up to `number` are in the window, `unread` of them unseen; impossible values are ignored.
  void shown(qint64 number, qint64 unread);

  // Everything for a new process: "conversation" {number, lines: [{from, text, ts}], unread} with the lines already
  // shown (left out if there are none), and a "chat" for each line not shown yet.
  QList<JsonObject> messages() const;

 private:
  struct Line {
    QString from;
    QString text;
    qint64 ts = 0;
  };

  static qsizetype unitsOf(const Line& line) { return line.from.size() + line.text.size() + kUnitsOfALine; }
  static JsonObject chatMessage(qint64 number, const Line& line);

  NumberedOutbox<Line> lines_{{.weight = kMaxUnits}};
  qint64 shown_ = 0;
  qint64 unread_ = 0;
};

}  // namespace vantora
