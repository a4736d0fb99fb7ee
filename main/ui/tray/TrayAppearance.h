// Appearance of the tray item.
#pragma once

#include <QColor>
#include <QString>

namespace vantora {

struct TrayAppearance {
  QColor fill;
  QColor outline;
  bool unread = false;
  QString toolTip;

  bool operator==(const TrayAppearance&) const = default;
};

}  // namespace vantora
