#include "main/control/clipboard/TextPieces.h"

namespace vantora {
namespace {

// One character of a text: its UTF-16 units and its bytes inside a JSON string.
struct Step {
  qsizetype units = 1;
  qint64 bytes = 1;
};

Step stepAt(QStringView text, qsizetype at) {
  constexpr qint64 kUnicodeEscape = 6;
  const char16_t unit = text[at].unicode();
  switch (unit) {
    case u'"':
    case u'\\':
    case u'\b':
    case u'\f':
    case u'\n':
    case u'\r':
    case u'\t':
      return {.bytes = 2};
    default:
      break;
  }
  if (unit < 0x20) return {.bytes = kUnicodeEscape};
  if (unit < 0x80) return {.bytes = 1};
  if (unit < 0x800) return {.bytes = 2};
  if (!QChar::isSurrogate(unit)) return {.bytes = 3};
  const bool pair = QChar::isHighSurrogate(unit) && at + 1 < text.size() && text[at + 1].isLowSurrogate();
  return pair ? Step{.units = 2, .bytes = 4} : Step{.bytes = kUnicodeEscape};
}

}  // namespace

qint64 jsonLength(QStringView text) {
  qint64 bytes = 0;
  for (qsizetype at = 0; at < text.size();) {
    const Step step = stepAt(text, at);
    bytes += step.bytes;
    at += step.units;
  }
  return bytes;
}

QList<qsizetype> pieceEnds(QStringView text, qint64 maximum) {
  QList<qsizetype> ends;
  qint64 bytes = 0;
  for (qsizetype at = 0; at < text.size();) {
    const Step step = stepAt(text, at);
    if (bytes > 0 && bytes + step.bytes > maximum) {
      ends.append(at);
      bytes = 0;
    }
    bytes += step.bytes;
    at += step.units;
  }
  if (!text.isEmpty()) ends.append(text.size());
  return ends;
}

}  // namespace vantora
