// The images of cursor themes, as programs and compositors show them. Xlib's headers stay in the .cpp file.
#pragma once

#include <string>
#include <vector>

#include "platform/SystemCursor.h"

namespace vantora {

// All frames of a cursor at the nearest size the theme has; empty when it has no such cursor.
std::vector<CursorBitmap> themeImages(const std::string& theme, const std::string& name, int size);

// How a compositor enlarges or reduces an image.
enum class Filter { nearest, linear };
CursorBitmap scaled(const CursorBitmap& image, double factor, Filter filter);

}  // namespace vantora
