// Appearance of the tray item.
#pragma once

#include <QColor>
#include <QString>

namespace vantora {

struct TrayLook {
  QColor fill;
  QColor outline;
  bool unread = false;
  QString toolTip;

  bool operator==(const TrayLook&) const = default;
};

}  // namespace vantora
