// The tray item on desktops whose panel uses D-Bus.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "base/dbus/DBusNameWatcher.h"
#include "base/dbus/DBusSignal.h"
#include "main/ui/tray/DBusMenu.h"
#include "main/ui/tray/StatusNotifierItem.h"

namespace vantora {

// Registers the item whenever a watcher of such items appears: at start, later, or again after a restart. Nothing
// blocks, not even on a watcher that is running and does not reply: the query is repeated until it replies. Thread:
// main (of the interface). Owner: Tray.
class DBusTray {
 public:
  static constexpr std::chrono::milliseconds kTimeout{10000};

  struct Handlers {
    DBusMenu::Triggered triggered;
    // The item was clicked where the panel opens no menu of it.
    std::function<void()> activated;
    // Whether a panel shows the item; called first when that is known, then at every change. False means that there is
    // no watcher, or that it replied so.
    std::function<void(bool)> shown;
  };

  // `timeout`: how long the first query to a watcher waits for its reply before it is repeated.
  DBusTray(const QDBusConnection& bus, Handlers handlers, std::chrono::milliseconds timeout = kTimeout);

  void setAppearance(const TrayAppearance& appearance) { item_.setAppearance(appearance); }
  void setRows(const QList<MenuRow>& rows) { menu_.setRows(rows); }

 private:
  void watcherChanged(bool present);
  void queryHost();
  void setShown(bool shown);

  QDBusConnection bus_;
  const Handlers handlers_;
  const std::chrono::milliseconds timeout_;
  StatusNotifierItem item_;
  DBusMenu menu_;
  const QString serviceName_;
  std::optional<bool> shown_;
  // These are destroyed first: their callbacks use the members above.
  QObject context_;
  std::unique_ptr<QObject> query_;
  std::unique_ptr<DBusSignal> hostRegistered_;
  std::unique_ptr<DBusSignal> hostUnregistered_;
  std::unique_ptr<DBusNameWatcher> presence_;
};

}  // namespace vantora
