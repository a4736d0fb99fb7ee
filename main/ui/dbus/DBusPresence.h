// Watches whether a service is on the bus.
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <functional>

namespace vantora {

// Queries once and watches from then on; nothing blocks. Thread: that of its creation.
class DBusPresence {
 public:
  // `name` has an owner (true) or no owner (false). A restart reports false and true, or true again.
  using Changed = std::function<void(bool present)>;

  DBusPresence(const QDBusConnection& bus, const QString& name, const Changed& changed);
  DBusPresence(const DBusPresence&) = delete;
  DBusPresence& operator=(const DBusPresence&) = delete;

 private:
  QDBusServiceWatcher watcher_;
};

}  // namespace vantora
