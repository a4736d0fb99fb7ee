#include <gtest/gtest.h>

#include <QPainter>

#include "main/ui/chat/ChatInput.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ChatInputTest : public testui::UiTest {
 protected:
  ChatInputTest() { input_.resize(220, 24); }
  // The rendered field without focus.
  QImage rendered(const QString& text) {
    input_.setText(text);
    return input_.grab().toImage();
  }
  // The area of a text in such an image.
  QRect inkOf(const QImage& image) {
    const QImage blank = rendered(u" "_s);
    QRect place;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) {
        if (image.pixel(x, y) != blank.pixel(x, y)) place |= QRect(x, y, 1, 1);
      }
    }
    return place;
  }

  const QString long_ = u"A long line that does not fit into the field by any means at all, or does it?"_s;
  ChatInput input_;
};

TEST_F(ChatInputTest, endsALongTextInAnEllipsisWithoutTheFocus) {
  const QImage seen = rendered(long_);
  const QString elided = input_.elidedText();
  EXPECT_TRUE(elided.endsWith(u'…'));
  EXPECT_TRUE(long_.startsWith(elided.chopped(1)));
  EXPECT_GT(elided.size(), 10);
  // Just as the field itself draws that text, which fits.
  EXPECT_EQ(seen, rendered(elided));
  EXPECT_NE(seen, rendered(elided.chopped(1)));
  EXPECT_EQ(input_.text(), elided.chopped(1));
}

TEST_F(ChatInputTest, leavesATextThatFitsAsItIs) {
  const QImage seen = rendered(u"short"_s);
  EXPECT_EQ(input_.elidedText(), u"short"_s);
  QLineEdit plain;
  plain.resize(input_.size());
  plain.setText(u"short"_s);
  EXPECT_EQ(seen, plain.grab().toImage());
}

TEST_F(ChatInputTest, hasNoRingAroundItWithTheFocus) {
  QWidget window;
  QLineEdit other(&window);
  other.move(0, 40);
  ChatInput field(&window);
  field.resize(220, 24);
  QLineEdit usual(&window);
  usual.resize(220, 24);
  usual.move(0, 80);
  window.show();
  window.activateWindow();
  // The edge of a field, without the area of text and cursor.
  const auto edge = [](QWidget& widget) {
    QImage image = widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
    QPainter(&image).fillRect(image.rect().adjusted(3, 3, -3, -3), Qt::black);
    return image;
  };
  const auto focused = [&edge](QWidget& widget) {
    widget.setFocus();
    EXPECT_TRUE(testloop::waitFor([&widget] { return widget.hasFocus(); }));
    return edge(widget);
  };
  focused(other);
  const QImage without = edge(field);
  const QImage usualWithout = edge(usual);
  EXPECT_EQ(focused(field), without);
  // Other fields have a ring: it would be visible at the edge.
  EXPECT_NE(focused(usual), usualWithout);
}

TEST_F(ChatInputTest, readsFromTheRightWhereItsTextDoes) {
  const QString hebrew = u"שלום לכולם, המדפסת לא עונה עוד ואי אפשר להדפיס שום דבר מהמחשב הזה"_s;
  // Widths with more and less free space beside the text that fits.
  for (int width = 200; width <= 220; ++width) {
    input_.resize(width, 24);
    const QImage seen = rendered(hebrew);
    const QString elided = input_.elidedText();
    EXPECT_TRUE(elided.endsWith(u'…'));
    EXPECT_GT(elided.size(), 5);
    EXPECT_TRUE(hebrew.startsWith(elided.chopped(1)));
    // Just as the field itself draws that text, which fits.
    EXPECT_EQ(seen, rendered(elided)) << width;
    const QRect ink = inkOf(seen);
    EXPECT_LT(ink.left(), 25);
    EXPECT_GT(ink.right(), width - 15);
  }
  // The text starts at the right.
  const QRect word = inkOf(rendered(u"שלום"_s));
  EXPECT_GT(word.left(), 150);
}

TEST_F(ChatInputTest, keepsTheDirectionOfItsTextOnADesktopThatReadsFromTheRight) {
  input_.setLayoutDirection(Qt::RightToLeft);
  // The text still begins at its left and breaks off at its right.
  for (int width = 200; width <= 220; ++width) {
    input_.resize(width, 24);
    const QImage seen = rendered(long_);
    const QString elided = input_.elidedText();
    EXPECT_TRUE(elided.endsWith(u'…'));
    EXPECT_EQ(seen, rendered(elided)) << width;
  }
}

TEST_F(ChatInputTest, showsWhereOneTypesWithTheFocus) {
  const QImage without = rendered(long_);
  input_.show();
  input_.activateWindow();
  input_.setFocus();
  ASSERT_TRUE(testloop::waitFor([this] { return input_.hasFocus(); }));
  EXPECT_NE(input_.grab().toImage(), without);
  EXPECT_EQ(input_.text(), long_);
}

}  // namespace
}  // namespace vantora
