// Calls on the bus that wait for nothing.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <chrono>
#include <functional>

namespace vantora {

// Sends `call`; `done` gets the reply or the error message later on the thread of `context`, unless `context` is gone
// by then. Without an answer for `timeoutMs` it gets an error.
void callDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
              std::function<void(const QDBusMessage& reply)> done, int timeoutMs = 10000);

// Sends `call`, a question that may be put more than once, until something answers; `done` then gets the answer, which
// may be an error, later on the thread of `context`. Destroying `context` ends the asking. One question at a time is
// under way: a service that hangs finds one a minute in the end, and answers the last one as soon as it goes on.
void askDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
             std::function<void(const QDBusMessage& answer)> done,
             std::chrono::milliseconds timeout = std::chrono::seconds(10));

// A call to the message bus itself.
QDBusMessage dbusDaemonCall(const QString& method, const QVariantList& arguments);

}  // namespace vantora
