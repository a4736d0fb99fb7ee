// Lengths of texts: in characters as a person counts them (an emoji of five code points or a letter with its accents is
// one), and in bytes.
#pragma once

#include <QString>
#include <QStringView>

namespace vantora {

// Any thread; pure.
qsizetype characterCount(const QString& text);

// The first `count` characters of `text`; never a part of one. Pure.
QString firstCharacters(const QString& text, qsizetype count);

// Bytes of `text` in UTF-8; half of a surrogate pair counts as the replacement character, three bytes. The lengths of
// two texts add up to that of both together unless a pair was cut between them. Pure.
qint64 utf8Length(QStringView text);

}  // namespace vantora
