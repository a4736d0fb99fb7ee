// The PIN that a viewer must know.
#pragma once

#include <QString>

#include "base/Random.h"

namespace vantora {

// A random PIN: six decimal digits with leading zeros.
[[nodiscard]] QString makePin(const RandomBelow& random);

}  // namespace vantora
