// A place in the tray of desktops whose panel speaks D-Bus.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "main/ui/dbus/DBusPresence.h"
#include "main/ui/dbus/DBusSignal.h"
#include "main/ui/tray/DBusMenu.h"
#include "main/ui/tray/StatusNotifierItem.h"

namespace vantora {

// Registers the item whenever a watcher of such items comes up: at start, later, or again after a restart. Waits for
// nothing, also not for a watcher that is there and says nothing: it is asked again until it answers. Thread: main (of
// the interface). Owner: Tray.
class DBusTray {
 public:
  static constexpr std::chrono::milliseconds kTimeout{10000};

  struct Handlers {
    DBusMenu::Triggered triggered;
    // The item was pressed where the panel opens no menu of it.
    std::function<void()> activated;
    // Whether a panel shows the item; first when that is known, then at every change. A "no" means that there is no
    // watcher, or one that answered so.
    std::function<void(bool)> shown;
  };

  // `timeout`: how long the first question to a watcher waits for its answer before it is put again.
  DBusTray(const QDBusConnection& bus, Handlers handlers, std::chrono::milliseconds timeout = kTimeout);

  void setLook(const TrayLook& look) { item_.setLook(look); }
  void setRows(const QList<MenuRow>& rows) { menu_.setRows(rows); }

 private:
  void watcherChanged(bool present);
  void askForHost();
  void setShown(bool shown);

  QDBusConnection bus_;
  const Handlers handlers_;
  const std::chrono::milliseconds timeout_;
  StatusNotifierItem item_;
  DBusMenu menu_;
  const QString serviceName_;
  std::optional<bool> shown_;
  // These go first: their answers use what is above.
  QObject context_;
  std::unique_ptr<QObject> question_;
  std::unique_ptr<DBusSignal> hostRegistered_;
  std::unique_ptr<DBusSignal> hostUnregistered_;
  std::unique_ptr<DBusPresence> presence_;
};

}  // namespace vantora
