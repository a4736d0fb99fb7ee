// A message bus of the test's own.
#pragma once

#include <QDBusConnection>
#include <QString>

#include "tests/x11/support/ChildProcess.h"

namespace vantora::testing_ui {

// Runs from construction to destruction; nothing of the caller's own session is seen or touched.
class SessionBus {
 public:
  // `environment`: "NAME=value", for the daemon and the services it starts.
  explicit SessionBus(const std::vector<std::string>& environment = {}) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    daemon_ = testing_x11::ChildProcess({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
                                         "--address=unix:tmpdir=/tmp", "--print-address=" + std::to_string(ends[1])},
                                        environment, ends[1]);
    ::close(ends[1]);
    address_ = testing_x11::readLine(ends[0]);
    ::close(ends[0]);
  }
  ~SessionBus() {
    for (const QString& name : connections_) QDBusConnection::disconnectFromBus(name);
  }
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  bool running() const { return !address_.empty(); }
  std::string variable() const { return "DBUS_SESSION_BUS_ADDRESS=" + address_; }
  // Another program on the bus, as far as the others can tell.
  QDBusConnection connect() {
    static int count = 0;
    connections_.append(QStringLiteral("test-%1").arg(++count));
    return QDBusConnection::connectToBus(QString::fromStdString(address_), connections_.last());
  }

 private:
  std::string address_;
  QStringList connections_;
  testing_x11::ChildProcess daemon_;
};

}  // namespace vantora::testing_ui
