#include "main/desktop/Conversation.h"

#include <QJsonArray>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

JsonObject Conversation::add(const QString& from, const QString& text, qint64 ts) {
  Line line{++last_, from, text, ts};
  JsonObject message = chatMessage(line);
  // Of a line that is too long for all of it, the window keeps the end as well.
  line.text = line.text.right(kMostUnits - kUnitsOfALine);
  line.from = line.from.right(kMostUnits - kUnitsOfALine - line.text.size());
  units_ += unitsOf(line);
  lines_.append(std::move(line));
  while (units_ > kMostUnits) {
    const Line oldest = lines_.dequeue();
    units_ -= unitsOf(oldest);
    if (oldest.number <= shown_) continue;
    // It has come, though no window will show it.
    shown_ = oldest.number;
    ++unread_;
  }
  return message;
}

void Conversation::shown(qint64 number, qint64 unread) {
  if (number < shown_ || number > last_ || unread < 0) return;
  shown_ = number;
  unread_ = unread;
}

QList<JsonObject> Conversation::messages() const {
  QList<JsonObject> messages;
  QJsonArray before;
  for (const Line& line : lines_) {
    if (line.number <= shown_) {
      before.append(JsonObject{{u"from"_s, line.from}, {u"text"_s, line.text}, {u"ts"_s, line.ts}});
    } else {
      messages.append(chatMessage(line));
    }
  }
  if (shown_ > 0) {
    messages.prepend(
        {{u"type"_s, u"conversation"_s}, {u"number"_s, shown_}, {u"lines"_s, before}, {u"unread"_s, unread_}});
  }
  return messages;
}

JsonObject Conversation::chatMessage(const Line& line) {
  return {{u"type"_s, u"chat"_s},
          {u"number"_s, line.number},
          {u"from"_s, line.from},
          {u"text"_s, line.text},
          {u"ts"_s, line.ts}};
}

}  // namespace vantora
