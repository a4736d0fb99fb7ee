#include "main/desktop/ChatBacklog.h"

#include <QJsonArray>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

JsonObject ChatBacklog::add(const QString& from, const QString& text, qint64 ts) {
  Line line{from, text, ts};
  JsonObject message = chatMessage(lines_.next(), line);
  // The window also keeps only the end of a line that is too long.
  line.text = line.text.right(kMaxUnits - kUnitsOfALine);
  line.from = line.from.right(kMaxUnits - kUnitsOfALine - line.text.size());
  const qsizetype units = unitsOf(line);
  for (const auto& dropped : lines_.add(std::move(line), units)) {
    if (dropped.number <= shown_) continue;
    // It was received, although no window will show it.
    shown_ = dropped.number;
    ++unread_;
  }
  return message;
}

void ChatBacklog::shown(qint64 number, qint64 unread) {
  if (number < shown_ || number > lines_.last() || unread < 0) return;
  shown_ = number;
  unread_ = unread;
}

QList<JsonObject> ChatBacklog::messages() const {
  QList<JsonObject> messages;
  QJsonArray before;
  for (const auto& [number, units, line] : lines_.kept()) {
    if (number <= shown_) {
      before.append(JsonObject{{u"from"_s, line.from}, {u"text"_s, line.text}, {u"ts"_s, line.ts}});
    } else {
      messages.append(chatMessage(number, line));
    }
  }
  if (shown_ > 0) {
    messages.prepend(
        {{u"type"_s, u"conversation"_s}, {u"number"_s, shown_}, {u"lines"_s, before}, {u"unread"_s, unread_}});
  }
  return messages;
}

JsonObject ChatBacklog::chatMessage(qint64 number, const Line& line) {
  return {{u"type"_s, u"chat"_s},
          {u"number"_s, number},
          {u"from"_s, line.from},
          {u"text"_s, line.text},
          {u"ts"_s, line.ts}};
}

}  // namespace vantora
