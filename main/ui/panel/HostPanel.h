// The menu as a window, for desktops without a tray.
#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QWidget>
#include <functional>

#include "main/ui/MenuRows.h"

namespace vantora {

// Says and offers what the menu does. Made hidden; closing only hides it. Thread: main (of the interface). Owner:
// HostStatusBar.
class HostPanel final : public QWidget {
 public:
  explicit HostPanel(std::function<void(MenuAction)> triggered);

  void setState(const HostState& state, qint64 unreadChatCount);
  // Shows the window in front of others.
  void present();

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  QWidget* makeHeader();
  QWidget* makeFacts();
  QWidget* makeButtons();
  QPushButton* makeButton(MenuAction action, QWidget* parent);
  QCheckBox* makeToggle(const QString& title, MenuAction action);
  void paintIcon();
  void restyle();

  const std::function<void(MenuAction)> triggered_;
  HostState state_;
  qint64 unread_ = 0;
  QLabel* icon_ = nullptr;
  QLabel* connection_ = nullptr;
  QLabel* preset_ = nullptr;
  QFrame* facts_ = nullptr;
  QLineEdit* room_ = nullptr;
  QLineEdit* pin_ = nullptr;
  QPushButton* copyRoom_ = nullptr;
  QPushButton* copyPIN_ = nullptr;
  QPushButton* regenerate_ = nullptr;
  QCheckBox* control_ = nullptr;
  QCheckBox* files_ = nullptr;
  QPushButton* sharing_ = nullptr;
  QPushButton* chat_ = nullptr;
  QPushButton* quit_ = nullptr;
};

}  // namespace vantora
