// The cursors of the X font, told by their pictures. Pure.
#pragma once

#include <QString>
#include <cstdint>
#include <span>

namespace vantora {

// Name of the cursor in the X font, such as "xterm", whose outline the picture has, whatever its colours; empty when it
// is none of those that say something about the place. Programs that take their cursors from the font give them no
// names. `pixels`: `width` times `height`, row by row, the opacity in the highest byte.
QString fontCursorName(int width, int height, std::span<const std::uint32_t> pixels);

}  // namespace vantora
