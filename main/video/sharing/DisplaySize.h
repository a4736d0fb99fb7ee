// The size of a display, for fitting frames to it.
#pragma once

#include <QSize>
#include <vector>

#include "platform/Displays.h"

namespace vantora {

// Width and height of displays[index], of the first display when there is no such index, or
// 1280 x 720 when there is no display at all. Pure.
QSize primaryDisplayPixelSize(const std::vector<Display>& displays, int index);

}  // namespace vantora
