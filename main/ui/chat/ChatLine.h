// One message of the transcript as pieces of plain text.
#pragma once

#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QString>

namespace vantora {

// The kind of a piece, which determines its format.
enum class ChatRole { name, text, link, time };

struct ChatPiece {
  ChatRole role = ChatRole::text;
  QString text;
  // For a link: an absolute http or https address.
  QString url;

  bool operator==(const ChatPiece&) const = default;
};

// `text` cut into plain text and web links, in order and complete. A link is text that starts with "http://",
// "https://" or "www."; punctuation that ends a sentence stays outside. The rest of the text is not interpreted. Pure;
// linear in the length of the text.
QList<ChatPiece> linkified(const QString& text);

// The whole line, its newline included: name, text, and the time of `ts` (milliseconds since 1970) in the short form of
// `locale`. The sender "host", however written, is "YOU"; every other one is shown in capitals. Pure.
QList<ChatPiece> chatLine(const QString& from, const QString& text, qint64 ts, const QLocale& locale);

// How many UTF-16 units to delete from the start of a transcript of `length`: 0 up to 200000, else all but the last
// 150000. Pure.
qsizetype transcriptExcess(qsizetype length);

// The last `units` UTF-16 units of `pieces`, or all of them if there are fewer. Pure.
QList<ChatPiece> lastUnits(QList<ChatPiece> pieces, qsizetype units);

// UTF-16 units of all pieces together. Pure.
qsizetype lengthOf(const QList<ChatPiece>& pieces);

}  // namespace vantora
