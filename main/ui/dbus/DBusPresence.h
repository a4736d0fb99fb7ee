// Whether a service is on the bus, now and later.
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <functional>

namespace vantora {

// Asks once and watches from then on; nothing blocks. Thread: the one that made it.
class DBusPresence {
 public:
  // `name` has an owner (true), or has none any more (false). A restart reports false and true, or true again.
  using Changed = std::function<void(bool present)>;

  DBusPresence(const QDBusConnection& bus, const QString& name, const Changed& changed);
  DBusPresence(const DBusPresence&) = delete;
  DBusPresence& operator=(const DBusPresence&) = delete;

 private:
  QDBusServiceWatcher watcher_;
};

}  // namespace vantora
