// The program's tray icon, a lightning bolt.
#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>

#include "base/IceState.h"

class QPainter;

namespace vantora {

// The colour for a connection state: yellow, green, red, or gray for one that is not known. Pure.
QColor statusColor(IceState state);

// The text colour of the desktop's palette as it is now. Thread: main (of the interface).
QColor iconOutline();

// The bolt as a drawing: sharp at every size and scale, never recoloured by the desktop. With `unread`, a red dot sits
// in the upper right corner; `outline` is used at a third of its strength. Thread: main (of the interface).
QIcon makeStatusIcon(const QColor& fillColor, const QColor& outline, bool unread);

// Draws the same into `area`, centred.
void paintStatusIcon(QPainter& painter, const QRectF& area, const QColor& fillColor, const QColor& outline,
                     bool unread);

}  // namespace vantora
