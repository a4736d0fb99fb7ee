// A message bus of the test.
#pragma once

#include <QDBusConnection>
#include <QString>

#include "tests/x11/support/MessageBus.h"

namespace vantora::testui {

// Runs from construction to destruction; does not access the caller's session.
class SessionBus {
 public:
  // As MessageBus.
  explicit SessionBus(const std::string& configuration = "session.conf",
                      const std::vector<std::string>& environment = {})
      : bus_(configuration, environment) {}
  ~SessionBus() {
    for (const QString& name : connections_) QDBusConnection::disconnectFromBus(name);
  }
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  bool running() const { return bus_.running(); }
  std::string variable() const { return bus_.variable(); }
  // A further connection; it appears as another program on the bus.
  QDBusConnection connect() {
    static int count = 0;
    connections_.append(QStringLiteral("test-%1").arg(++count));
    return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), connections_.last());
  }

 private:
  testx11::MessageBus bus_;
  QStringList connections_;
};

}  // namespace vantora::testui
