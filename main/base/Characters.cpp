#include "main/base/Characters.h"

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

}  // namespace vantora
