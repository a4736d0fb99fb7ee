// Lengths in characters as a person counts them: an emoji of five code points or a letter with its accents is one.
#pragma once

#include <QString>

namespace vantora {

// Any thread; pure.
qsizetype characterCount(const QString& text);

// The first `count` characters of `text`; never a part of one. Pure.
QString firstCharacters(const QString& text, qsizetype count);

}  // namespace vantora
