// Common base of the X servers for tests.
#pragma once

#include <QString>
#include <string>
#include <vector>

#include "tests/x11/support/ChildProcess.h"

namespace vantora::testx11 {

// An X server that chooses its own display number and ends with this object.
class XServer {
 public:
  // Whether it runs: false when it could not be started.
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

  // While stopped, it accepts data without replying, until it resumes.
  void stop() const { process_.send(SIGSTOP); }
  void goOn() const { process_.send(SIGCONT); }

  // Kills the server, without closing the connections in an orderly way.
  void kill() {
    process_.end(SIGKILL);
    running_ = false;
    ::unlink(("/tmp/.X11-unix/X" + number_).c_str());
    ::unlink(("/tmp/.X" + number_ + "-lock").c_str());
  }

 protected:
  XServer() = default;
  ~XServer() = default;

  const std::string& number() const { return number_; }
  // Starts `program` and waits until it is ready; -displayfd, which all servers support, is added to its arguments.
  void start(const std::string& program, const std::vector<std::string>& arguments,
             const std::vector<std::string>& environment = {}) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    std::vector<std::string> all = {program};
    all.insert(all.end(), arguments.begin(), arguments.end());
    all.insert(all.end(), {"-displayfd", std::to_string(ends[1])});
    process_ = ChildProcess(all, environment, ends[1]);
    ::close(ends[1]);
    number_ = readLine(ends[0]);  // The server writes it when it is ready.
    ::close(ends[0]);
    running_ = !number_.empty();
  }

 private:
  std::string number_;
  bool running_ = false;
  ChildProcess process_;
};

}  // namespace vantora::testx11
