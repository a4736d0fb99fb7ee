// What sharing reads from the environment at every start.
#pragma once

#include <QString>
#include <optional>

#include "base/Environment.h"

namespace vantora {

struct VideoEnvironment {
  int fps = 60;          // [1, 240]
  int width = 1280;      // [16, 16384]
  int height = 720;      // [16, 16384]
  int displayIndex = 0;  // not negative
  // Empty: the variable is absent and the current mapping is kept.
  std::optional<bool> inputUsesPoints;
  std::optional<bool> inputOriginTop;
  bool shareIdleVideo = false;
  QString contentHint;  // "detail" or "motion"
};

// Reads the variables at every call.
[[nodiscard]] VideoEnvironment readVideoEnvironment(const Environment& environment);

}  // namespace vantora
