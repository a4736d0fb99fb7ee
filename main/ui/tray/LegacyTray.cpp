#include "main/ui/tray/LegacyTray.h"

#include <QApplication>
#include <QCursor>
#include <QScreen>
#include <algorithm>

#include "main/ui/DisplayText.h"
#include "main/ui/StatusIcon.h"
#include "main/ui/Theme.h"

namespace vantora {

LegacyTray::LegacyTray(std::function<void(MenuAction)> triggered) : triggered_(std::move(triggered)) {
  menu_.setToolTipsVisible(true);
  icon_.setContextMenu(&menu_);
  QObject::connect(&menu_, &QMenu::aboutToShow, &menu_, [this] {
    // Disabled rows show information and must stay readable.
    QPalette palette = QApplication::palette(&menu_);
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
      palette.setColor(QPalette::Disabled, role, theme::secondaryText(palette));
    }
    menu_.setPalette(palette);
  });
  // The item has only a menu: any click opens it.
  QObject::connect(&icon_, &QSystemTrayIcon::activated, &menu_, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) menu_.popup(QCursor::pos());
  });
}

void LegacyTray::setAppearance(const TrayAppearance& appearance) {
  if (appearance == appearance_ && icon_.isVisible()) return;
  appearance_ = appearance;
  icon_.setIcon(makeStatusIcon(appearance.fill, appearance.outline, appearance.unread));
  icon_.setToolTip(literalToolTip(appearance.toolTip));
  icon_.show();
}

void LegacyTray::addRow(const MenuRow& row) {
  QAction* action = row.separator ? menu_.addSeparator() : menu_.addAction(QString());
  if (row.action == MenuAction::none) return;
  QObject::connect(action, &QAction::triggered, &menu_, [this, what = row.action] { triggered_(what); });
}

void LegacyTray::setRows(const QList<MenuRow>& rows) {
  // An open menu stays open: the rows are kept, only their texts change.
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
  keepOnScreen();
}

// An open menu grows with its longest row.
void LegacyTray::keepOnScreen() {
  if (!menu_.isVisible()) return;
  menu_.resize(menu_.sizeHint());
  const QRect screen = menu_.screen()->geometry();
  const int beyond = menu_.geometry().right() - screen.right();
  if (beyond > 0) menu_.move(std::max(screen.left(), menu_.x() - beyond), menu_.y());
}

bool LegacyTray::shown() const { return icon_.isVisible() && QSystemTrayIcon::isSystemTrayAvailable(); }

}  // namespace vantora
