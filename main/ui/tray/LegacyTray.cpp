#include "main/ui/tray/LegacyTray.h"

#include <QCursor>

#include "main/ui/DisplayText.h"
#include "main/ui/StatusIcon.h"

namespace vantora {

LegacyTray::LegacyTray(std::function<void(MenuAction)> triggered) : triggered_(std::move(triggered)) {
  menu_.setToolTipsVisible(true);
  icon_.setContextMenu(&menu_);
  // The item is nothing but its menu: any press opens it.
  QObject::connect(&icon_, &QSystemTrayIcon::activated, &menu_, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) menu_.popup(QCursor::pos());
  });
}

void LegacyTray::setLook(const TrayLook& look) {
  if (look == look_ && icon_.isVisible()) return;
  look_ = look;
  icon_.setIcon(makeStatusIcon(look.fill, look.unread));
  icon_.setToolTip(literalToolTip(look.toolTip));
  icon_.show();
}

void LegacyTray::addRow(const MenuRow& row) {
  QAction* action = row.separator ? menu_.addSeparator() : menu_.addAction(QString());
  if (row.action == MenuAction::none) return;
  QObject::connect(action, &QAction::triggered, &menu_, [this, what = row.action] { triggered_(what); });
}

void LegacyTray::setRows(const QList<MenuRow>& rows) {
  // A menu that stands open stays so: the rows are the same ones, only what they say changes.
  if (menu_.actions().size() != rows.size()) {
    menu_.clear();
    for (const MenuRow& row : rows) addRow(row);
  }
  const QList<QAction*> actions = menu_.actions();
  for (int i = 0; i < rows.size(); ++i) {
    const MenuRow& row = rows.at(i);
    QAction* action = actions.at(i);
    if (row.separator) continue;
    action->setText(literalMenuText(row.title));
    action->setEnabled(row.enabled);
    action->setCheckable(row.checked.has_value());
    action->setChecked(row.checked.value_or(false));
    action->setToolTip(row.toolTip);
    if (!row.key.isNull()) action->setShortcut(QKeySequence(Qt::CTRL | Qt::Key(row.key.toUpper().unicode())));
  }
}

bool LegacyTray::shown() const { return icon_.isVisible() && QSystemTrayIcon::isSystemTrayAvailable(); }

}  // namespace vantora
