// The cursors of the X cursor font, recognised by their images. Pure.
#pragma once

#include <QString>
#include <cstdint>
#include <span>

namespace vantora {

// Name of the cursor in the X cursor font, such as "xterm", that has the outline of the image, whatever its colours;
// empty when the cursor is unknown or unrelated to the content below it. Programs that take their cursors from the font
// give them no names. `pixels`: `width` times `height`, row by row, alpha in the highest byte.
QString fontCursorName(int width, int height, std::span<const std::uint32_t> pixels);

}  // namespace vantora
