#include "main/control/files/SafeFileName.h"

#include <QList>
#include <QTextBoundaryFinder>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

struct Parts {
  QByteArray stem;
  QByteArray extension;  // With its dot; empty for a name without extension.
};

Parts split(const QByteArray& name) {
  const qsizetype dot = name.lastIndexOf('.');
  if (dot <= 0 || dot == name.size() - 1) return {name, {}};
  return {name.first(dot), name.sliced(dot)};
}

// The longest prefix of `utf8` that has at most `limit` bytes and ends between two graphemes.
QByteArray cut(const QByteArray& utf8, qsizetype limit) {
  if (utf8.size() <= limit) return utf8;
  const QString text = QString::fromUtf8(utf8);
  QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
  QByteArray kept;
  for (qsizetype end = finder.toNextBoundary(); end > 0; end = finder.toNextBoundary()) {
    QByteArray longer = QStringView(text).first(end).toUtf8();
    if (longer.size() > limit) break;
    kept = std::move(longer);
  }
  // A single grapheme that is too long is cut between its code points.
  if (!kept.isEmpty()) return kept;
  qsizetype end = std::max<qsizetype>(limit, 0);
  while (end > 0 && (static_cast<unsigned char>(utf8[end]) & 0xC0U) == 0x80U) --end;
  return utf8.first(end);
}

// `stem` + `suffix` + `extension`, shortened to `limit` bytes. An extension that leaves no room is cut like
// any other text.
QByteArray fit(const QByteArray& stem, const QByteArray& suffix, const QByteArray& extension, qsizetype limit) {
  const qsizetype room = limit - suffix.size() - extension.size();
  if (room >= 1) {
    const QByteArray shortened = cut(stem, room);
    if (!shortened.isEmpty()) return shortened + suffix + extension;
  }
  return cut(stem + extension, limit - suffix.size()) + suffix;
}

// Invisible characters that reverse the display order, so that "gpj.exe" could read "exe.jpg".
bool changesOrder(char32_t c) {
  return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool forbidden(char32_t c) {
  // Unpaired surrogates have become the replacement character by now.
  if (c == U'/' || c == U'\\' || c == QChar::ReplacementCharacter || changesOrder(c)) return true;
  switch (QChar::category(c)) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
      return true;
    default:
      return QChar::isNonCharacter(c);
  }
}

}  // namespace

QByteArray safeFileName(const QString& name) {
  // Only the beginning of a long name can be kept, and its extension: nothing else is examined.
  constexpr qsizetype kMaxExamined = 4096;
  const QString examined =
      name.size() <= kMaxExamined ? name : name.first(kMaxExamined / 2) + name.last(kMaxExamined / 2);
  QString safe;
  safe.reserve(examined.size());
  bool visible = false;
  for (const char32_t c : examined.toUcs4()) {
    if (forbidden(c)) {
      safe.append(u'_');
      visible = true;
      continue;
    }
    safe.append(QString::fromUcs4(&c, 1));
    visible = visible || (!QChar::isSpace(c) && QChar::category(c) != QChar::Other_Format);
  }
  if (!visible) return QByteArrayLiteral("file");
  for (qsizetype i = 0; i < safe.size() && safe[i] == u'.'; ++i) safe[i] = u'_';
  const Parts parts = split(safe.toUtf8());
  return fit(parts.stem, {}, parts.extension, kMaxFileNameBytes);
}

QByteArray plainFileName(const QByteArray& name) {
  QByteArray plain = name;
  for (char& c : plain) {
    if (QByteArrayView(":?*\"<>|").contains(c)) c = '_';
  }
  const Parts parts = split(plain);
  plain = fit(parts.stem, {}, parts.extension, kMaxPlainNameBytes);
  for (qsizetype i = plain.size(); i > 0 && (plain[i - 1] == ' ' || plain[i - 1] == '.'); --i) plain[i - 1] = '_';
  return plain;
}

QByteArray nextFileName(const QByteArray& previous, int n, qsizetype limit) {
  const Parts parts = split(previous);
  return fit(parts.stem, " (" + QByteArray::number(n) + ")", parts.extension, limit);
}

}  // namespace vantora
