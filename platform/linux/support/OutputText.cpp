#include "platform/linux/support/OutputText.h"

#include <QTextBoundaryFinder>
#include <algorithm>
#include <optional>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Appended to a truncated text.
QString mark() { return u"\n…(truncated)…"_s; }

// The index where character number `characters` begins; empty when the text is not longer than that.
std::optional<qsizetype> endOfCharacters(const QString& text, qsizetype characters) {
  if (text.size() <= characters) return std::nullopt;
  QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
  for (qsizetype i = 0; i < characters; ++i) {
    if (finder.toNextBoundary() < 0) return std::nullopt;
  }
  const qsizetype end = finder.position();
  return end < text.size() ? std::optional(end) : std::nullopt;
}

}  // namespace

QString truncatedText(const QString& text, qsizetype characters) {
  const auto end = endOfCharacters(text, characters);
  return end ? text.first(*end) + mark() : text;
}

void OutputText::append(QByteArrayView bytes) {
  check_.feed(bytes);
  const qsizetype room = keptBytes_ - kept_.size();
  if (bytes.size() > room) cut_ = true;
  kept_.append(bytes.first(std::clamp<qsizetype>(room, 0, bytes.size())));
}

QString OutputText::text(qsizetype characters) const {
  if (!check_.valid()) return {};
  const QString all = QString::fromUtf8(cut_ ? withoutHalfCharacter(kept_) : QByteArrayView(kept_));
  const QString shown = truncatedText(all, characters);
  // Fewer characters than the limit, but bytes were discarded: the text is truncated all the same.
  return cut_ && shown.size() == all.size() ? all + mark() : shown;
}

}  // namespace vantora
