// Converts a viewer's numbers to those of input events.
#pragma once

#include <QPointF>
#include <QRectF>
#include <cstdint>

#include "platform/DesktopInput.h"

namespace vantora {

// The point of the display `frame` at the normalised position (nx, ny), in global coordinates. Positions outside 0..1
// are clamped to the frame's closed range, so that 1 is the far edge itself; NaN counts as 0. `rotationDegrees` is
// truncated to an integer; 90, 180 and 270 rotate the position, where 90 and 270 swap the axes but not the frame's
// sides, so that the result may lie outside a frame that is not square; any other value is ignored. `topOrigin`: y
// grows downward from the frame's top, else upward from its bottom. Pure.
QPointF mapToFrame(const QRectF& frame, double nx, double ny, double rotationDegrees, bool topOrigin);

// The position of `point` in `frame`, as fractions of its sides from the top left corner; 0 along a side of zero
// length. Pure.
QPointF fractionOf(const QRectF& frame, const QPointF& point);

// The button for a viewer's button number: 0 left, 1 centre, 2 right, any other left. Pure.
PointerButton buttonFor(std::int64_t viewerButton);

// The scroll event of a viewer's wheel distances: the vertical one changes its sign, the horizontal one keeps it. Each
// is truncated toward zero and clamped to 32 bits; NaN counts as 0. Pure.
ScrollEvent scrollFor(double deltaX, double deltaY);

}  // namespace vantora
