// The input line of the local user.
#pragma once

#include <QLineEdit>

namespace vantora {

// One line of plain text: no completion, no correction, no focus ring. With the focus, the text scrolls with the
// cursor; without it, the text is shown from its start and ends in an ellipsis if it does not fit. Thread: main (of the
// interface). Owner: HostChatWindow.
class ChatInput final : public QLineEdit {
 public:
  explicit ChatInput(QWidget* parent = nullptr);

  // The text shown while the field has no focus.
  QString elidedText() const;

 protected:
  void initStyleOption(QStyleOptionFrame* option) const override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QRect textArea() const;
};

}  // namespace vantora
