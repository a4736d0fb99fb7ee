// A child process of a test.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/Timeout.h"

namespace vantora::testx11 {

// Started by the constructor, ended and reaped by the destructor; it also ends when the test
// program dies.
class ChildProcess {
 public:
  ChildProcess() = default;
  // `arguments[0]` is looked up in PATH. `environment`: "NAME=value", added to the test's own.
  // `keptDescriptor` stays open in the child under its own number.
  explicit ChildProcess(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {},
                        int keptDescriptor = -1) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, STDIN_FILENO);
    ::dup2(null, STDOUT_FILENO);
    ::dup2(null, STDERR_FILENO);
    if (keptDescriptor >= 0) ::fcntl(keptDescriptor, F_SETFD, 0);
    for (const std::string& entry : environment) ::putenv(const_cast<char*>(entry.c_str()));
    ::execvp(argv[0], argv.data());
    ::_exit(127);
  }
  ~ChildProcess() { end(SIGTERM); }
  ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  ChildProcess& operator=(ChildProcess&& other) noexcept {
    end(SIGTERM);
    pid_ = std::exchange(other.pid_, -1);
    return *this;
  }

  // Waits for its end; the exit code, or -1 when it was killed or never ran.
  int wait() {
    if (pid_ <= 0) return -1;
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  // Sends `signal` and does not wait.
  void send(int signal) const {
    if (pid_ > 0) ::kill(pid_, signal);
  }
  // Suspends it until SIGCONT, and waits until it is.
  void suspend() const {
    send(SIGSTOP);
    if (pid_ > 0) ::waitpid(pid_, nullptr, WUNTRACED);
  }
  // Sends `signal` and waits for the end.
  void end(int signal) {
    if (pid_ <= 0) return;
    ::kill(pid_, signal);
    wait();
  }

 private:
  pid_t pid_ = -1;
};

// The next line from `descriptor`, such as a server's message that it is ready, without the line break; empty on
// timeout.
inline std::string readLine(int descriptor) {
  std::string line;
  testloop::Timeout timeout;
  while (!timeout.isOver()) {
    pollfd ready{descriptor, POLLIN, 0};
    if (::poll(&ready, 1, 1000) <= 0) continue;
    char letter = 0;
    if (::read(descriptor, &letter, 1) != 1) return {};
    if (letter == '\n') return line;
    line += letter;
  }
  return {};
}

}  // namespace vantora::testx11
