// The arithmetic between a viewer's numbers and input events.
#pragma once

#include <QPointF>
#include <QRectF>
#include <cstdint>

#include "platform/DesktopInput.h"

namespace vantora {

// The point of the display `frame` that the normalised position (nx, ny) means, in global
// coordinates. Positions outside 0..1, and those that are no numbers, are kept within the frame's
// closed range, so that 1 is the far edge itself. `rotationDegrees` is cut to a whole number; 90,
// 180 and 270 turn the position, 90 and 270 exchanging the axes without exchanging the frame's
// sides, so that their result may lie outside a frame that is not square; any other value leaves
// it alone. `topOrigin`: y grows downward from the frame's top, else upward from its bottom. Pure.
QPointF mapToFrame(const QRectF& frame, double nx, double ny, double rotationDegrees, bool topOrigin);

// Where `point` lies in `frame`, in fractions of its sides from its top left corner; 0 along a side of no length. Pure.
QPointF fractionOf(const QRectF& frame, const QPointF& point);

// The button behind a viewer's button number: 0 left, 1 centre, 2 right, any other left. Pure.
PointerButton buttonFor(std::int64_t viewerButton);

// The scroll event of a viewer's wheel distances: the vertical one changes its sign, the
// horizontal one keeps it. Each is cut toward zero and kept within 32 bits; what is no number
// counts as 0. Pure.
ScrollEvent scrollFor(double deltaX, double deltaY);

}  // namespace vantora
