// Asynchronous calls on the bus.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <chrono>
#include <functional>

namespace vantora {

// Sends `call`; `done` gets the reply or the error message later on the thread of `context`, unless `context` is gone
// by then. Without a reply for `timeoutMs` it gets an error.
void callDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
              std::function<void(const QDBusMessage& reply)> done, int timeoutMs = 10000);

// Sends `call`, which must be safe to repeat, until there is a reply; `done` then gets the reply, which may be an
// error, later on the thread of `context`. Destroying `context` ends the calls. Only one call at a time is pending: a
// service that hangs gets at most one a minute in the end, and replies to the last one as soon as it continues.
void askDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
             std::function<void(const QDBusMessage& reply)> done,
             std::chrono::milliseconds timeout = std::chrono::seconds(10));

// A call to the message bus itself.
QDBusMessage dbusDaemonCall(const QString& method, const QVariantList& arguments);

}  // namespace vantora
