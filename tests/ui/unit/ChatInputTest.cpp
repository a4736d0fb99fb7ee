#include <gtest/gtest.h>

#include "main/ui/chat/ChatInput.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ChatInputTest : public testing_ui::UiTest {
 protected:
  ChatInputTest() { input_.resize(220, 24); }
  // What the field looks like while it has no focus.
  QImage looks(const QString& text) {
    input_.setText(text);
    return input_.grab().toImage();
  }

  const QString long_ = u"A long line that does not fit into the field by any means at all, or does it?"_s;
  ChatInput input_;
};

TEST_F(ChatInputTest, endsALongTextInAnEllipsisWithoutTheFocus) {
  const QImage seen = looks(long_);
  const QString elided = input_.elidedText();
  EXPECT_TRUE(elided.endsWith(u'…'));
  EXPECT_TRUE(long_.startsWith(elided.chopped(1)));
  EXPECT_GT(elided.size(), 10);
  // Just as the field itself draws that text, which fits.
  EXPECT_EQ(seen, looks(elided));
  EXPECT_NE(seen, looks(elided.chopped(1)));
  EXPECT_EQ(input_.text(), elided.chopped(1));
}

TEST_F(ChatInputTest, leavesATextThatFitsAsItIs) {
  const QImage seen = looks(u"short"_s);
  EXPECT_EQ(input_.elidedText(), u"short"_s);
  QLineEdit plain;
  plain.resize(input_.size());
  plain.setText(u"short"_s);
  EXPECT_EQ(seen, plain.grab().toImage());
}

TEST_F(ChatInputTest, showsWhereOneTypesWithTheFocus) {
  const QImage without = looks(long_);
  input_.show();
  input_.activateWindow();
  input_.setFocus();
  ASSERT_TRUE(testing_loop::waitFor([this] { return input_.hasFocus(); }));
  EXPECT_NE(input_.grab().toImage(), without);
  EXPECT_EQ(input_.text(), long_);
}

}  // namespace
}  // namespace vantora
