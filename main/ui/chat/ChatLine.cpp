#include "main/ui/chat/ChatLine.h"

#include <QRegularExpression>
#include <QUrl>
#include <algorithm>

#include "main/ui/DisplayText.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr qsizetype kMaxTranscriptChars = 200000;
constexpr qsizetype kTargetTranscriptChars = 150000;

// The start of a link, and everything up to the next blank or quotation mark. No part of the pattern can match in two
// ways, so its cost is linear in the text.
const QRegularExpression& linkStart() {
  static const QRegularExpression pattern(
      uR"((?<![\p{L}\p{N}_])(?:https?://|www\.)[^\s<>"“”«»\x{0}-\x{1f}]+)"_s,
      QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
  return pattern;
}

// Removes the punctuation of the surrounding sentence: a closing bracket belongs to the link if the opening one does.
QStringView withoutSentenceEnd(QStringView link) {
  constexpr QStringView kSentenceEnd = u".,;:!?'*_~…。、，！？";
  while (!link.isEmpty()) {
    const QChar last = link.back();
    const bool unbalanced = (last == u')' && link.count(u'(') < link.count(u')')) ||
                            (last == u']' && link.count(u'[') < link.count(u']')) ||
                            (last == u'}' && link.count(u'{') < link.count(u'}'));
    if (!kSentenceEnd.contains(last) && !unbalanced) break;
    link.chop(1);
  }
  return link;
}

// Browsers do not accept longer addresses.
constexpr qsizetype kLongestLink = 2000;

QString addressOf(QStringView link) {
  if (link.size() > kLongestLink) return {};
  const bool bare = link.startsWith("www."_L1, Qt::CaseInsensitive);
  const QUrl url((bare ? u"http://"_s : QString()) + link.toString(), QUrl::TolerantMode);
  const bool web = url.scheme() == "http"_L1 || url.scheme() == "https"_L1;
  const bool named = bare ? url.host().size() > 4 && url.host().indexOf(u'.', 4) > 0 : !url.host().isEmpty();
  return url.isValid() && web && named ? QString::fromUtf8(url.toEncoded()) : QString();
}

QString timeText(qint64 ts, const QLocale& locale) {
  const QDateTime moment = QDateTime::fromMSecsSinceEpoch(ts);
  return moment.isValid() ? locale.toString(moment.time(), QLocale::ShortFormat) : QString();
}

}  // namespace

QList<ChatPiece> linkified(const QString& text) {
  QList<ChatPiece> pieces;
  qsizetype done = 0;
  const auto plainUpTo = [&](qsizetype end) {
    if (end > done) pieces.append({ChatRole::text, text.sliced(done, end - done), {}});
    done = end;
  };
  auto matches = linkStart().globalMatch(text);
  while (matches.hasNext()) {
    const auto match = matches.next();
    const QStringView link = withoutSentenceEnd(match.capturedView().left(kLongestLink + 1));
    const QString address = addressOf(link);
    if (address.isEmpty()) continue;
    plainUpTo(match.capturedStart());
    pieces.append({ChatRole::link, link.toString(), address});
    done = match.capturedStart() + link.size();
  }
  plainUpTo(text.size());
  return pieces;
}

QList<ChatPiece> chatLine(const QString& from, const QString& text, qint64 ts, const QLocale& locale) {
  // A name must not contain line breaks, which could imitate a message of another sender.
  const QString name = from.toLower() == "host"_L1 ? u"YOU"_s : oneLine(from.toUpper());
  QList<ChatPiece> line{{ChatRole::name, name + u": "_s, {}}};
  line.append(linkified(text));
  line.append({ChatRole::time, u' ' + timeText(ts, locale), {}});
  line.append({ChatRole::text, u"\n"_s, {}});
  return line;
}

qsizetype transcriptExcess(qsizetype length) {
  return length > kMaxTranscriptChars ? length - kTargetTranscriptChars : 0;
}

qsizetype lengthOf(const QList<ChatPiece>& pieces) {
  qsizetype length = 0;
  for (const ChatPiece& piece : pieces) length += piece.text.size();
  return length;
}

QList<ChatPiece> lastUnits(QList<ChatPiece> pieces, qsizetype units) {
  qsizetype excess = lengthOf(pieces) - units;
  while (excess > 0) {
    ChatPiece& first = pieces.first();
    if (first.text.size() > excess) {
      first.text.remove(0, excess);
      break;
    }
    excess -= first.text.size();
    pieces.removeFirst();
  }
  return pieces;
}

}  // namespace vantora
