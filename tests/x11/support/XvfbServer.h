// A real X server for one test.
#pragma once

#include <QString>
#include <random>

#include "tests/x11/support/ChildProcess.h"

namespace vantora::testing_x11 {

// An X server without a screen of glass, on a display number of its own. It starts with the
// keyboard of the United States and ends with this object.
class XvfbServer {
 public:
  explicit XvfbServer(int width = 1024, int height = 768, std::vector<std::string> extraArguments = {})
      : screen_(std::to_string(width) + "x" + std::to_string(height) + "x24"),
        extraArguments_(std::move(extraArguments)) {
    start({});
  }

  // Whether it is there: false when it could not be started.
  bool running() const { return !number_.empty() && running_; }
  // Such as ":99".
  QString display() const { return QString::fromStdString(":" + number_); }
  std::string displayVariable() const { return "DISPLAY=:" + number_; }

  // Runs a program on this display until its end; its exit code.
  int run(const std::vector<std::string>& arguments) const {
    return ChildProcess(arguments, {displayVariable()}).wait();
  }
  // Starts a program on this display.
  ChildProcess spawn(const std::vector<std::string>& arguments) const {
    return ChildProcess(arguments, {displayVariable()});
  }

  // Splits the screen into two monitors side by side, "left" being the first. Sizes in pixels.
  bool splitIntoTwoMonitors(int leftWidth, int rightWidth, int height) const {
    const auto monitor = [height](int width, int x) {
      return std::to_string(width) + "/100x" + std::to_string(height) + "/100+" + std::to_string(x) + "+0";
    };
    return run({"xrandr", "--setmonitor", "left", monitor(leftWidth, 0), "screen"}) == 0 &&
           run({"xrandr", "--setmonitor", "right", monitor(rightWidth, leftWidth), "none"}) == 0;
  }

  // Stopped, it takes in what is sent and says nothing, until it goes on.
  void stop() const { process_.send(SIGSTOP); }
  void goOn() const { process_.send(SIGCONT); }

  // Ends the server at once, without a goodbye to its clients.
  void kill() {
    process_.end(SIGKILL);
    running_ = false;
    ::unlink(("/tmp/.X11-unix/X" + number_).c_str());
    ::unlink(("/tmp/.X" + number_ + "-lock").c_str());
  }
  // Starts it anew under the same number.
  bool restart() {
    kill();
    start(":" + number_);
    return running();
  }

 private:
  void start(const std::string& wanted) {
    if (!wanted.empty()) return startAt(wanted);
    // Of the lowest free number another program would be given while this server is stopped to be started anew.
    static std::minstd_rand numbers(std::random_device{}());
    for (int attempt = 0; attempt < 5 && !running_; ++attempt) startAt(":" + std::to_string(100 + numbers() % 50000));
  }
  void startAt(const std::string& display) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    std::vector<std::string> arguments = {"Xvfb", display};
    for (const std::string& argument :
         {std::string("-displayfd"), std::to_string(ends[1]), std::string("-screen"), std::string("0"), screen_,
          std::string("-noreset"), std::string("-nolisten"), std::string("tcp"), std::string("-ac")}) {
      arguments.push_back(argument);
    }
    arguments.insert(arguments.end(), extraArguments_.begin(), extraArguments_.end());
    process_ = ChildProcess(arguments, {}, ends[1]);
    ::close(ends[1]);
    number_ = readLine(ends[0]);  // The server writes it when it is ready.
    ::close(ends[0]);
    running_ = !number_.empty();
  }

  std::string screen_;
  std::vector<std::string> extraArguments_;
  std::string number_;
  bool running_ = false;
  ChildProcess process_;
};

}  // namespace vantora::testing_x11
