// The line in which the local user writes.
#pragma once

#include <QLineEdit>

namespace vantora {

// One line of text without any help: no completion, no correction, no ring around it. While somebody types, the text
// moves with the cursor; without the focus it shows from its start and ends in an ellipsis where it does not fit.
// Thread: main (of the interface). Owner: HostChatWindow.
class ChatInput final : public QLineEdit {
 public:
  explicit ChatInput(QWidget* parent = nullptr);

  // What stands in the field as long as it has no focus.
  QString elidedText() const;

 protected:
  void initStyleOption(QStyleOptionFrame* option) const override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QRect textArea() const;
};

}  // namespace vantora
