// The program's item in the tray of the desktop.
#pragma once

#include <memory>

#include "main/ui/tray/DBusTray.h"
#include "main/ui/tray/LegacyTray.h"

namespace vantora {

// Uses a panel that supports D-Bus if there is one, else a tray of the older kind; switches when that changes. While a
// running panel does not report whether it shows the item, nothing changes. Thread: main (of the interface). Owner:
// HostStatusBar.
class Tray {
 public:
  struct Handlers {
    std::function<void(MenuAction)> triggered;
    // The item was clicked where the panel opens no menu of it.
    std::function<void()> activated;
  };

  // `timeout`: see DBusTray.
  Tray(const QDBusConnection& bus, Handlers handlers, std::chrono::milliseconds timeout = DBusTray::kTimeout);

  void setAppearance(const TrayAppearance& appearance);
  void setRows(const QList<MenuRow>& rows);
  // Whether it is known if a panel that supports D-Bus shows the item; false while a running one has not reported it.
  bool known() const { return shownOverDBus_ || legacy_ != nullptr; }
  // Whether the item is visible anywhere. False also at first, until the desktop has replied.
  bool shown() const { return shownOverDBus_ || (legacy_ && legacy_->shown()); }

 private:
  void setShownOverDBus(bool shown);

  const Handlers handlers_;
  TrayAppearance appearance_;
  QList<MenuRow> rows_;
  bool shownOverDBus_ = false;
  std::unique_ptr<LegacyTray> legacy_;
  DBusTray dbus_;
};

}  // namespace vantora
