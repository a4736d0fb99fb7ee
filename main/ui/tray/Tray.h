// The program's item in whatever tray the desktop has.
#pragma once

#include <memory>

#include "main/ui/tray/DBusTray.h"
#include "main/ui/tray/LegacyTray.h"

namespace vantora {

// Goes to a panel that speaks D-Bus where there is one, else to a tray of the older kind; moves when that changes.
// While a panel that is there does not say whether it shows the item, it stays where it was. Thread: main (of the
// interface). Owner: HostStatusBar.
class Tray {
 public:
  struct Handlers {
    std::function<void(MenuAction)> triggered;
    // The item was pressed where the panel opens no menu of it.
    std::function<void()> activated;
  };

  // `timeout`: see DBusTray.
  Tray(const QDBusConnection& bus, Handlers handlers, std::chrono::milliseconds timeout = DBusTray::kTimeout);

  void setLook(const TrayLook& look);
  void setRows(const QList<MenuRow>& rows);
  // Whether it is known if a panel that speaks D-Bus shows the item; false while one that is there has not said it.
  bool known() const { return shownOverDBus_ || legacy_ != nullptr; }
  // Whether the item can be seen anywhere. False also in the first moments, until the desktop has answered.
  bool shown() const { return shownOverDBus_ || (legacy_ && legacy_->shown()); }

 private:
  void setShownOverDBus(bool shown);

  const Handlers handlers_;
  TrayLook look_;
  QList<MenuRow> rows_;
  bool shownOverDBus_ = false;
  std::unique_ptr<LegacyTray> legacy_;
  DBusTray dbus_;
};

}  // namespace vantora
