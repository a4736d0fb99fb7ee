// Colours and sizes that the interface derives from the desktop's.
#pragma once

#include <QColor>
#include <QPalette>

namespace vantora::theme {

// Whether the palette is light text on a dark ground. Pure.
bool isDark(const QPalette& palette);
// Text that stands back behind the rest but stays readable on the palette's base. Pure.
QColor secondaryText(const QPalette& palette);
// A web link on the palette's base. Pure.
QColor link(const QPalette& palette);
// How much larger than usual the desktop wants its text: 1 or more. Thread: main (of the interface).
qreal textScale();
// The interface in light text on a dark ground. Pure.
QPalette darkPalette();

}  // namespace vantora::theme
