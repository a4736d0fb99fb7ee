// The cursor shapes sent to a viewer, as web cursor names, and the mapping to them. Pure functions.
#pragma once

#include <QString>
#include <chrono>
#include <span>

namespace vantora {

// Every shape that the host determines by itself.
std::span<const QLatin1StringView> cursorShapes();

// The shape of a platform cursor by its name: names of cursor themes, of the X font, of the web, and the image hashes
// that stand for names in old themes. Anything else, including the empty name, is "default".
QString mapNSCursorToWebCursor(QStringView cursor);

// One of 13 shapes, the next one every 3 seconds of the wall clock.
QString simulateTestCursor(std::chrono::nanoseconds unixTime);

}  // namespace vantora
