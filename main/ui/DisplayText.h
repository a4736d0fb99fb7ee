// Texts from elsewhere on their way to the screen: they are shown, never interpreted.
#pragma once

#include <QString>

namespace vantora {

// `text` on one line: line breaks and other control characters become blanks, and what is longer than a menu can show
// ends in an ellipsis. Pure.
QString oneLine(const QString& text);

// For widgets that take a text for a web page when it looks like one: the same text, taken literally. Pure.
QString literalToolTip(const QString& text);

// For menus that take a single '&' for the mark of an access key. Pure.
QString literalMenuText(QString text);

}  // namespace vantora
