// A real X server for one test.
#pragma once

#include <random>

#include "tests/x11/support/XServer.h"

namespace vantora::testx11 {

// An X server without a physical screen. It starts with a US keyboard.
class XvfbServer : public XServer {
 public:
  explicit XvfbServer(int width = 1024, int height = 768, std::vector<std::string> extraArguments = {})
      : screen_(std::to_string(width) + "x" + std::to_string(height) + "x24"),
        extraArguments_(std::move(extraArguments)) {
    startUnder({});
  }

  // Splits the screen into two monitors side by side, "left" being the first. Sizes in pixels.
  bool splitIntoTwoMonitors(int leftWidth, int rightWidth, int height) const {
    const auto monitor = [height](int width, int x) {
      return std::to_string(width) + "/100x" + std::to_string(height) + "/100+" + std::to_string(x) + "+0";
    };
    return run({"xrandr", "--setmonitor", "left", monitor(leftWidth, 0), "screen"}) == 0 &&
           run({"xrandr", "--setmonitor", "right", monitor(rightWidth, leftWidth), "none"}) == 0;
  }

  // Starts it again under the same number.
  bool restart() {
    kill();
    startUnder(":" + number());
    return running();
  }

 private:
  void startUnder(const std::string& wanted) {
    if (!wanted.empty()) return startAt(wanted);
    // Not the lowest free number: another program could take it while this server is stopped before its restart.
    static std::minstd_rand numbers(std::random_device{}());
    for (int attempt = 0; attempt < 5 && !running(); ++attempt) startAt(":" + std::to_string(100 + numbers() % 50000));
  }
  void startAt(const std::string& wanted) {
    std::vector<std::string> arguments = {wanted, "-screen", "0", screen_, "-noreset", "-nolisten", "tcp", "-ac"};
    arguments.insert(arguments.end(), extraArguments_.begin(), extraArguments_.end());
    start("Xvfb", arguments);
  }

  std::string screen_;
  std::vector<std::string> extraArguments_;
};

}  // namespace vantora::testx11
