// Fits a requested frame size to a display. Pure.
#pragma once

#include <QSize>

namespace vantora {

// `requested` scaled down to fit `display` with its aspect ratio kept (never up), at least 16 in
// each direction, both even.
QSize fitToDisplay(QSize requested, QSize display);

}  // namespace vantora
