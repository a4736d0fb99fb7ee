// Calls on the bus that wait for nothing.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <functional>

namespace vantora {

// Sends `call`; `done` gets the reply or the error message later on the thread of `context`, unless `context` is gone
// by then. Without an answer for `timeoutMs` it gets an error.
void callDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
              std::function<void(const QDBusMessage& reply)> done, int timeoutMs = 10000);

// A call to the message bus itself.
QDBusMessage dbusDaemonCall(const QString& method, const QVariantList& arguments);

}  // namespace vantora
