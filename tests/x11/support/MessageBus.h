// A separate session bus for a test: the only way in which a test program starts one.
#pragma once

#include <string>
#include <vector>

#include "tests/fakes/Places.h"
#include "tests/x11/support/ChildProcess.h"

namespace vantora::testx11 {

// Runs from construction to destruction. It does not access the caller's session and starts none of the machine's
// installed services.
class MessageBus {
 public:
  // `configuration`: a file of tests/bus, or the path of another one. `environment`: "NAME=value", for the daemon and
  // the services it starts.
  explicit MessageBus(const std::string& configuration = "session.conf",
                      const std::vector<std::string>& environment = {}) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    const std::string path =
        configuration.starts_with('/')
            ? configuration
            : testplaces::source(QStringLiteral("tests/bus/") + QString::fromStdString(configuration)).toStdString();
    daemon_ = ChildProcess({"dbus-daemon", "--config-file=" + path, "--nofork", "--nopidfile", "--nosyslog",
                            "--print-address=" + std::to_string(ends[1])},
                           environment, ends[1]);
    ::close(ends[1]);
    address_ = readLine(ends[0]);
    ::close(ends[0]);
  }

  bool running() const { return !address_.empty(); }
  const std::string& address() const { return address_; }
  std::string variable() const { return "DBUS_SESSION_BUS_ADDRESS=" + address_; }

 private:
  std::string address_;
  ChildProcess daemon_;
};

}  // namespace vantora::testx11
