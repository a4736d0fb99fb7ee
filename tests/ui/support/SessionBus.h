// A message bus of the test's own.
#pragma once

#include <QDBusConnection>
#include <QString>

#include "tests/x11/support/MessageBus.h"

namespace vantora::testing_ui {

// Runs from construction to destruction; nothing of the caller's own session is seen or touched.
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
  // Another program on the bus, as far as the others can tell.
  QDBusConnection connect() {
    static int count = 0;
    connections_.append(QStringLiteral("test-%1").arg(++count));
    return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), connections_.last());
  }

 private:
  testing_x11::MessageBus bus_;
  QStringList connections_;
};

}  // namespace vantora::testing_ui
