// Lengths of texts: in user-perceived characters (an emoji of five code points or a letter with its accents is one),
// and in bytes.
#pragma once

#include <QString>
#include <QStringView>

namespace vantora {

// Any thread; pure.
qsizetype characterCount(const QString& text);

// The first `count` whole characters of `text`. Pure.
QString firstCharacters(const QString& text, qsizetype count);

// Bytes of `text` in UTF-8; an unpaired surrogate counts as the replacement character, three bytes. The lengths of two
// texts add up to that of their concatenation unless a surrogate pair was split between them. Pure.
qint64 utf8Length(QStringView text);

}  // namespace vantora
