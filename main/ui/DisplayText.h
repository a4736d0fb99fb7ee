// Prepares foreign texts for display: they are shown, never interpreted.
#pragma once

#include <QString>

namespace vantora {

// `text` on one line: line breaks and other control characters become blanks, and what is longer than a menu can show
// ends in an ellipsis. Pure.
QString oneLine(const QString& text);

// For widgets that render a text as rich text if it looks like markup: the same text, shown literally. Pure.
QString literalToolTip(const QString& text);

// For menus that read a single '&' as the mark of an access key. Pure.
QString literalMenuText(QString text);

}  // namespace vantora
