#include "main/ui/chat/ChatInput.h"

#include <QPainter>
#include <QStyleOptionFrame>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// The field leaves that much free on either side of its text.
constexpr int kBesideText = 2;

}  // namespace

ChatInput::ChatInput(QWidget* parent) : QLineEdit(parent) {
  setAccessibleName(u"Message"_s);
  setPlaceholderText(u"Type a message…"_s);
  setAttribute(Qt::WA_MacShowFocusRect, false);
  setCompleter(nullptr);
  // What is typed is sent exactly.
  setInputMethodHints(Qt::ImhNoAutoUppercase | Qt::ImhNoPredictiveText);
}

void ChatInput::initStyleOption(QStyleOptionFrame* option) const {
  QLineEdit::initStyleOption(option);
  option->state.setFlag(QStyle::State_HasFocus, false);
}

QRect ChatInput::textArea() const {
  QStyleOptionFrame option;
  initStyleOption(&option);
  const QRect contents = style()->subElementRect(QStyle::SE_LineEditContents, &option, this);
  return contents.marginsRemoved(textMargins()).adjusted(kBesideText, 0, -kBesideText, 0);
}

QString ChatInput::elidedText() const {
  return fontMetrics().elidedText(displayText(), Qt::ElideRight, textArea().width());
}

void ChatInput::paintEvent(QPaintEvent* event) {
  const QString shown = elidedText();
  if (hasFocus() || shown == displayText()) return QLineEdit::paintEvent(event);
  QStyleOptionFrame option;
  initStyleOption(&option);
  QPainter painter(this);
  style()->drawPrimitive(QStyle::PE_PanelLineEdit, &option, &painter, this);
  const Qt::LayoutDirection direction = shown.isRightToLeft() ? Qt::RightToLeft : layoutDirection();
  painter.setLayoutDirection(direction);
  painter.setPen(palette().color(QPalette::Text));
  painter.drawText(textArea(), static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading) | Qt::TextSingleLine, shown);
}

}  // namespace vantora
