// Colours and sizes that the interface derives from the desktop's.
#pragma once

#include <QColor>
#include <QPalette>

namespace vantora::theme {

// Whether the palette is light text on a dark ground. Pure.
bool isDark(const QPalette& palette);
// Less prominent text that stays readable on the palette's base. Pure.
QColor secondaryText(const QPalette& palette);
// A web link on the palette's base. Pure.
QColor link(const QPalette& palette);
// The factor by which the desktop's text is larger than usual: 1 or more. Thread: main (of the interface).
qreal textScale();
// A palette with light text on a dark ground. Pure.
QPalette darkPalette();

}  // namespace vantora::theme
