#include "main/ui/panel/HostPanel.h"

#include <QEvent>
#include <QFontDatabase>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>

#include "main/ui/BringToFront.h"
#include "main/ui/DisplayText.h"
#include "main/ui/StatusIcon.h"
#include "main/ui/Theme.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr int kIconSide = 40;
constexpr int kMargin = 16;
constexpr int kGap = 12;
constexpr int kCornerGap = 32;

QLabel* makeLabel(QWidget* parent, int pixels, bool bold) {
  auto* label = new QLabel(parent);
  // The text may come from a viewer.
  label->setTextFormat(Qt::PlainText);
  QFont shape = label->font();
  shape.setPixelSize(qRound(pixels * theme::textScale()));
  shape.setBold(bold);
  label->setFont(shape);
  return label;
}

// A read-only value that can be selected and copied and scrolls if it is too long.
QLineEdit* makeValue(QWidget* parent, const QString& name, int pixels, bool fixedPitch) {
  auto* value = new QLineEdit(parent);
  value->setReadOnly(true);
  value->setFrame(false);
  value->setTextMargins(-2, 0, 0, 0);  // Aligned with its title.
  value->setAccessibleName(name);
  QFont shape = fixedPitch ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : value->font();
  shape.setPixelSize(qRound(pixels * theme::textScale()));
  shape.setBold(true);
  if (fixedPitch) shape.setLetterSpacing(QFont::AbsoluteSpacing, 2);
  value->setFont(shape);
  return value;
}

// Advice for a user who sees the window for the first time.
QString adviceFor(const HostState& state) {
  if (state.roomId == "demo"_L1)
    return u"Everybody can see and use this computer in the room \u201cdemo\u201d, without a PIN."_s;
  return u"Tell the person who helps you the room and the PIN, and nobody else: whoever has both can use this computer "
         u"while remote control is allowed."_s;
}

void setValue(QLineEdit* value, const QString& text) {
  if (value->text() == text) return;
  value->setText(text);
  value->setCursorPosition(0);
}

}  // namespace

HostPanel::HostPanel(std::function<void(MenuAction)> triggered) : triggered_(std::move(triggered)) {
  setWindowTitle(u"Vantora Host"_s);
  setAttribute(Qt::WA_DeleteOnClose, false);
  setAttribute(Qt::WA_QuitOnClose, false);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
  column->setSpacing(kGap);
  column->addWidget(makeHeader());
  column->addWidget(makeFacts());
  control_ = makeToggle(u"Allow Remote Control"_s, MenuAction::toggleAllowControl);
  files_ = makeToggle(u"Allow Incoming Files"_s, MenuAction::toggleAllowFiles);
  column->addWidget(control_);
  column->addWidget(files_);
  column->addStretch(1);
  column->addWidget(makeButtons());
  closing_ = makeLabel(this, 11, false);
  closing_->setWordWrap(true);
  closing_->setText(
      u"Closing this window does not stop the host. Where no tray shows its icon, starting it again brings this window back."_s);
  column->addWidget(closing_);
  setMinimumWidth(400);
  restyle();
  sharing_->setFocus();
}

QWidget* HostPanel::makeHeader() {
  auto* header = new QWidget(this);
  auto* grid = new QGridLayout(header);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setHorizontalSpacing(kGap);
  grid->setVerticalSpacing(2);
  icon_ = new QLabel(header);
  icon_->setFixedSize(kIconSide, kIconSide);
  auto* title = makeLabel(header, 17, true);
  title->setText(u"Vantora Host"_s);
  connection_ = makeLabel(header, 13, false);
  preset_ = makeLabel(header, 13, false);
  grid->addWidget(icon_, 0, 0, 3, 1, Qt::AlignTop);
  grid->addWidget(title, 0, 1);
  grid->addWidget(connection_, 1, 1);
  grid->addWidget(preset_, 2, 1);
  grid->setColumnStretch(1, 1);
  return header;
}

QWidget* HostPanel::makeFacts() {
  facts_ = new QFrame(this);
  facts_->setObjectName(u"facts"_s);
  auto* grid = new QGridLayout(facts_);
  grid->setContentsMargins(kGap, kGap, kGap, kGap);
  grid->setHorizontalSpacing(8);
  grid->setVerticalSpacing(4);
  advice_ = makeLabel(facts_, 12, false);
  advice_->setWordWrap(true);
  auto* roomTitle = makeLabel(facts_, 11, false);
  roomTitle->setText(u"Room"_s);
  auto* pinTitle = makeLabel(facts_, 11, false);
  pinTitle->setText(u"Control PIN"_s);
  room_ = makeValue(facts_, u"Room"_s, 15, false);
  pin_ = makeValue(facts_, u"Control PIN"_s, 22, true);
  copyRoom_ = makeButton(MenuAction::copyRoom, facts_);
  copyPIN_ = makeButton(MenuAction::copyPIN, facts_);
  regenerate_ = makeButton(MenuAction::regenPIN, facts_);
  grid->addWidget(advice_, 0, 0, 1, 2);
  grid->setRowMinimumHeight(1, 4);
  grid->addWidget(roomTitle, 2, 0);
  grid->addWidget(room_, 3, 0);
  grid->addWidget(copyRoom_, 3, 1);
  grid->setRowMinimumHeight(4, 6);
  grid->addWidget(pinTitle, 5, 0);
  grid->addWidget(pin_, 6, 0);
  grid->addWidget(copyPIN_, 6, 1);
  reveal_ = new QPushButton(facts_);
  reveal_->setToolTip(u"Whoever sees the shared screen can read it then"_s);
  connect(reveal_, &QPushButton::clicked, this, [this] {
    revealed_ = !revealed_;
    veilPIN();
  });
  grid->addWidget(reveal_, 7, 0, Qt::AlignLeft);
  grid->addWidget(regenerate_, 7, 1);
  grid->setColumnStretch(0, 1);
  return facts_;
}

QWidget* HostPanel::makeButtons() {
  auto* bar = new QWidget(this);
  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(8);
  sharing_ = makeButton(MenuAction::toggleSharing, bar);
  chat_ = makeButton(MenuAction::showChatWindow, bar);
  quit_ = makeButton(MenuAction::quit, bar);
  quit_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
  row->addWidget(sharing_);
  row->addWidget(chat_);
  row->addStretch(1);
  row->addWidget(quit_);
  return bar;
}

QPushButton* HostPanel::makeButton(MenuAction action, QWidget* parent) {
  auto* button = new QPushButton(parent);
  button->setAutoDefault(true);
  connect(button, &QPushButton::clicked, this, [this, action] { triggered_(action); });
  return button;
}

QCheckBox* HostPanel::makeToggle(const QString& title, MenuAction action) {
  auto* box = new QCheckBox(title, this);
  connect(box, &QCheckBox::clicked, this, [this, box, action] {
    // The check mark shows the state of the session, which follows a moment later.
    box->setChecked(action == MenuAction::toggleAllowControl ? state_.allowRemoteControl : state_.allowIncomingFiles);
    triggered_(action);
  });
  return box;
}

void HostPanel::setState(const HostState& state, qint64 unreadChatCount) {
  state_ = state;
  unread_ = unreadChatCount;
  // Titles, enabled states and check marks are those of the menu.
  for (const MenuRow& row : menuRows(state)) {
    switch (row.action) {
      case MenuAction::toggleSharing:
        sharing_->setText(row.title);
        break;
      case MenuAction::copyRoom:
        copyRoom_->setText(row.title);
        break;
      case MenuAction::copyPIN:
        copyPIN_->setText(row.title);
        break;
      case MenuAction::regenPIN:
        regenerate_->setText(row.title);
        regenerate_->setEnabled(row.enabled);
        regenerate_->setToolTip(row.toolTip);
        break;
      case MenuAction::toggleAllowControl:
        control_->setChecked(row.checked.value_or(false));
        break;
      case MenuAction::toggleAllowFiles:
        files_->setChecked(row.checked.value_or(false));
        break;
      case MenuAction::showChatWindow:
        chat_->setText(unread_ > 0 ? row.title + u" (%1)"_s.arg(unread_) : row.title);
        break;
      case MenuAction::quit:
        quit_->setText(row.title);
        quit_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));  // Setting the text removes the shortcut.
        break;
      case MenuAction::none:
        break;
    }
  }
  connection_->setText(u"Connection: "_s + iceStateLabel(state.iceState));
  preset_->setText(u"Preset: "_s + oneLine(state.qualityPreset));
  setValue(room_, state.roomId);
  setValue(pin_, state.controlPIN);
  if (!state.sharingEnabled) revealed_ = false;
  veilPIN();
  advice_->setText(adviceFor(state));
  paintIcon();
}

void HostPanel::veilPIN() {
  const bool veiled = state_.sharingEnabled && !revealed_;
  pin_->setEchoMode(veiled ? QLineEdit::Password : QLineEdit::Normal);
  reveal_->setText(veiled ? u"Show PIN"_s : u"Hide PIN"_s);
  reveal_->setVisible(state_.sharingEnabled);
}

void HostPanel::paintIcon() {
  const QIcon icon = makeStatusIcon(statusColor(state_.iceState), palette().color(QPalette::WindowText), unread_ > 0);
  icon_->setPixmap(icon.pixmap(QSize(kIconSide, kIconSide), devicePixelRatioF()));
}

void HostPanel::restyle() {
  const QColor edge = theme::isDark(palette()) ? QColor(255, 255, 255, 34) : QColor(0, 0, 0, 34);
  facts_->setStyleSheet(u"#facts { background: %1; border: 1px solid rgba(%2, %3, %4, %5); border-radius: 8px; }"_s
                            .arg(palette().color(QPalette::Base).name())
                            .arg(edge.red())
                            .arg(edge.green())
                            .arg(edge.blue())
                            .arg(edge.alpha()));
  QPalette secondary = palette();
  secondary.setColor(QPalette::WindowText, theme::secondaryText(palette()));
  preset_->setPalette(secondary);
  closing_->setPalette(secondary);
}

void HostPanel::present() { bringToFront(*this); }

void HostPanel::presentQuietly() {
  adjustSize();
  const QRect room = screen()->availableGeometry();
  move(room.right() - width() - kCornerGap, room.top() + kCornerGap);
  showInFront(*this);
}

void HostPanel::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Cancel) || event->matches(QKeySequence::Close)) {
    close();
    return;
  }
  QWidget::keyPressEvent(event);
}

void HostPanel::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  revealed_ = false;
  veilPIN();
}

void HostPanel::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() != QEvent::PaletteChange || !facts_ || !preset_ || !closing_) return;
  restyle();
  paintIcon();
}

}  // namespace vantora
