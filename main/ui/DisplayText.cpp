#include "main/ui/DisplayText.h"

#include <QTextDocument>

#include "base/Characters.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr qsizetype kLongest = 200;

}  // namespace

QString oneLine(const QString& text) {
  // A few thousand units are enough to fill the line.
  QString line = text.left(kLongest * 16);
  for (QChar& unit : line) {
    if (unit.category() == QChar::Other_Control || unit == QChar::LineSeparator || unit == QChar::ParagraphSeparator) {
      unit = u' ';
    }
  }
  if (text.size() <= kLongest) return line;
  const QString start = firstCharacters(line, kLongest);
  return start.size() == text.size() ? start : start + u'…';
}

QString literalToolTip(const QString& text) {
  return Qt::mightBeRichText(text) ? u"<span>"_s + text.toHtmlEscaped() + u"</span>"_s : text;
}

QString literalMenuText(QString text) { return text.replace(u'&', u"&&"_s); }

}  // namespace vantora
