// The tray item on desktops whose panel embeds windows (the older X11 protocol).
#pragma once

#include <QMenu>
#include <QSystemTrayIcon>
#include <functional>

#include "main/ui/MenuRows.h"
#include "main/ui/tray/TrayAppearance.h"

namespace vantora {

// Shows the item as soon as such a tray exists, also if it starts later or restarts. Thread: main (of the interface).
// Owner: Tray.
class LegacyTray {
 public:
  explicit LegacyTray(std::function<void(MenuAction)> triggered);

  void setAppearance(const TrayAppearance& appearance);
  void setRows(const QList<MenuRow>& rows);
  // Whether a tray shows it now.
  bool shown() const;

  QMenu& menu() { return menu_; }
  QSystemTrayIcon& icon() { return icon_; }

 private:
  void addRow(const MenuRow& row);
  void keepOnScreen();

  const std::function<void(MenuAction)> triggered_;
  QMenu menu_;
  QSystemTrayIcon icon_;
  TrayAppearance appearance_;
};

}  // namespace vantora
