// A real X server whose screen can be rotated.
#pragma once

#include "tests/x11/support/XServer.h"

namespace vantora::testx11 {

// An X server that shows its screen in a window of the server `outer`, and can rotate and mirror it.
class XephyrServer : public XServer {
 public:
  XephyrServer(const XServer& outer, int width, int height) {
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    start("Xephyr", {"-screen", size, "-noreset", "-nolisten", "tcp", "-ac"}, {outer.displayVariable()});
  }

  // Rotates the screen; `rotation` and `reflection` are values of xrandr.
  [[nodiscard]] bool turn(const std::string& rotation, const std::string& reflection) const {
    return run({"xrandr", "--output", "default", "--rotate", rotation, "--reflect", reflection}) == 0;
  }
};

}  // namespace vantora::testx11
