#include "base/Characters.h"

#include <QTextBoundaryFinder>

namespace vantora {

qsizetype characterCount(const QString& text) {
  QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
  qsizetype count = 0;
  while (finder.toNextBoundary() != -1) ++count;
  return count;
}

QString firstCharacters(const QString& text, qsizetype count) {
  if (text.size() <= count) return text;  // A character has at least one UTF-16 unit.
  QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
  qsizetype end = 0;
  for (qsizetype i = 0; i < count; ++i) {
    const qsizetype next = finder.toNextBoundary();
    if (next == -1) return text;
    end = next;
  }
  return text.left(end);
}

qint64 utf8Length(QStringView text) {
  qint64 bytes = 0;
  for (qsizetype i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i].unicode();
    if (unit < 0x80) {
      bytes += 1;
    } else if (unit < 0x800) {
      bytes += 2;
    } else if (QChar::isHighSurrogate(unit) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
      bytes += 4;
      ++i;
    } else {
      bytes += 3;
    }
  }
  return bytes;
}

}  // namespace vantora
