// The source of random numbers.
#pragma once

#include <QtGlobal>
#include <functional>

namespace vantora {

// A uniformly distributed integer in [0, limit).
using RandomBelow = std::function<quint32(quint32 limit)>;
// The system's random generator.
[[nodiscard]] RandomBelow systemRandom();

}  // namespace vantora
