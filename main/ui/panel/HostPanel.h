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

// Shows and offers the same as the menu. Created hidden; closing only hides it. While the screen is shared, a viewer
// who does not know the PIN could read it here: then it is shown only on request. Thread: main (of the interface).
// Owner: HostStatusBar.
class HostPanel final : public QWidget {
 public:
  explicit HostPanel(std::function<void(MenuAction)> triggered);

  void setState(const HostState& state, qint64 unreadChatCount);
  // Shows the window in front of others.
  void present();
  // Shows it in front of others, near the corner that most trays are in, without taking the keyboard focus.
  void presentQuietly();

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void changeEvent(QEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  QWidget* makeHeader();
  QWidget* makeFacts();
  QWidget* makeButtons();
  QPushButton* makeButton(MenuAction action, QWidget* parent);
  QCheckBox* makeToggle(const QString& title, MenuAction action);
  void veilPIN();
  void paintIcon();
  void restyle();

  const std::function<void(MenuAction)> triggered_;
  HostState state_;
  qint64 unread_ = 0;
  bool revealed_ = false;  // The user wants to read the PIN although the screen is shared.
  QLabel* icon_ = nullptr;
  QLabel* connection_ = nullptr;
  QLabel* preset_ = nullptr;
  QFrame* facts_ = nullptr;
  QLabel* advice_ = nullptr;
  QLabel* closing_ = nullptr;
  QLineEdit* room_ = nullptr;
  QLineEdit* pin_ = nullptr;
  QPushButton* copyRoom_ = nullptr;
  QPushButton* copyPIN_ = nullptr;
  QPushButton* reveal_ = nullptr;
  QPushButton* regenerate_ = nullptr;
  QCheckBox* control_ = nullptr;
  QCheckBox* files_ = nullptr;
  QPushButton* sharing_ = nullptr;
  QPushButton* chat_ = nullptr;
  QPushButton* quit_ = nullptr;
};

}  // namespace vantora
