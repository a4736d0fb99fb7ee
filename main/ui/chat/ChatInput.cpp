#include "main/ui/chat/ChatInput.h"

#include <QPainter>
#include <QStyleOptionFrame>
#include <QTextLayout>
#include <QTextOption>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Free space on either side of the field's text.
constexpr int kBesideText = 2;
// Space after the text for the cursor.
constexpr int kCursor = 1;

QTextOption directionOf(const QString& text) {
  QTextOption option;
  option.setTextDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
  return option;
}

}  // namespace

ChatInput::ChatInput(QWidget* parent) : QLineEdit(parent) {
  setAccessibleName(u"Message"_s);
  setPlaceholderText(u"Type a message…"_s);
  setAttribute(Qt::WA_MacShowFocusRect, false);
  setCompleter(nullptr);
  // Typed text is sent exactly as it is.
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
  return fontMetrics().elidedText(displayText(), Qt::ElideRight, textArea().width() - kCursor);
}

void ChatInput::paintEvent(QPaintEvent* event) {
  const QString shown = elidedText();
  if (hasFocus() || shown == displayText()) return QLineEdit::paintEvent(event);
  QStyleOptionFrame option;
  initStyleOption(&option);
  QPainter painter(this);
  style()->drawPrimitive(QStyle::PE_PanelLineEdit, &option, &painter, this);
  painter.setPen(palette().color(QPalette::Text));
  // As the field draws a text that fits: the text determines its direction, not the desktop.
  QTextLayout layout(shown, font());
  layout.setTextOption(directionOf(shown));
  layout.beginLayout();
  const QTextLine line = layout.createLine();
  layout.endLayout();
  const QRect area = textArea();
  const int left = shown.isRightToLeft() ? area.right() - qRound(line.naturalTextWidth() + kCursor) : area.left();
  layout.draw(&painter, QPoint(left, area.top() + (area.height() - fontMetrics().height() + 1) / 2));
}

}  // namespace vantora
