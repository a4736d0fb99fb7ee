// The lightning bolt that stands for the program in a tray.
#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>

#include "main/rtc/PeerConnection.h"

class QPainter;

namespace vantora {

// The colour that tells a connection state at a glance: yellow, green, red, or gray for one that is not known. Pure.
QColor statusColor(IceState state);

// The bolt as a drawing: sharp at every size and scale, never recoloured by the desktop. With `unread`, a red dot sits
// in the upper right corner. The outline is in the text colour of the current palette. Thread: main (of the interface).
QIcon makeStatusIcon(const QColor& fillColor, bool unread);

// Draws the same into `area`, centred; `outline` is used at a third of its strength.
void paintStatusIcon(QPainter& painter, const QRectF& area, const QColor& fillColor, const QColor& outline,
                     bool unread);

}  // namespace vantora
