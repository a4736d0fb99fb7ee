// Watches whether a service is on the bus.
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <functional>

namespace vantora {

// Queries once and watches from then on; nothing blocks. Thread: that of its creation.
class DBusNameWatcher {
 public:
  // `name` has an owner (true) or no owner (false). A restart reports false and true, or true again.
  using Changed = std::function<void(bool present)>;

  DBusNameWatcher(const QDBusConnection& bus, const QString& name, const Changed& changed);
  DBusNameWatcher(const DBusNameWatcher&) = delete;
  DBusNameWatcher& operator=(const DBusNameWatcher&) = delete;

 private:
  QDBusServiceWatcher watcher_;
};

}  // namespace vantora
