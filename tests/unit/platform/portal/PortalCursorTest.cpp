#include <gtest/gtest.h>

#include "platform/portal/cursor/PortalCursor.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/portal/ThemeImages.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class PortalCursorTest : public testing::Test {
 protected:
  PortalCursorTest() { testloop::ensureApplication(); }

  void watch() {
    cursor_->watch({.cursorChanged = [this] { ++changes_; }, .pointerUsed = [this] { ++uses_; }});
  }
  static CursorBitmap imageOf(const char* name, const char* theme = "Adwaita", int size = 24) {
    return themeImages(theme, name, size).at(0);
  }
  void show(const CursorBitmap& image, std::uint32_t node = 7) {
    cursor_->report({.node = node, .visible = true, .position = position_, .bitmap = image});
  }
  void move(std::uint32_t node = 7) {
    position_ += QPoint(3, 1);
    cursor_->report({.node = node, .visible = true, .position = position_});
  }
  QString name() {
    const auto shown = cursor_->currentCursor();
    return shown ? shown->name : u"(none)"_s;
  }
  [[nodiscard]] bool becomes(const QString& wanted) {
    return testloop::waitFor([&] { return name() == wanted; });
  }

  std::unique_ptr<PortalCursor> cursor_ = makePortalCursor(Environment::of({{"XCURSOR_THEME", "Adwaita"}}));
  QPoint position_{10, 10};
  int changes_ = 0;
  int uses_ = 0;
};

TEST_F(PortalCursorTest, namesTheCursorThatIsReported) {
  watch();
  show(imageOf("text"));
  EXPECT_TRUE(becomes(u"text"_s));
  EXPECT_EQ(changes_, 1);
  EXPECT_FALSE(cursor_->currentCursor()->bitmap);
  show(imageOf("pointer"));
  EXPECT_EQ(name(), u"pointer"_s);
  EXPECT_EQ(changes_, 2);
  show(imageOf("pointer"));
  move();
  EXPECT_EQ(changes_, 2);
}

TEST_F(PortalCursorTest, knowsNoCursorWhileNobodyWatches) {
  show(imageOf("text"));
  testloop::drain();
  EXPECT_FALSE(cursor_->currentCursor());
  watch();
  EXPECT_TRUE(becomes(u"text"_s));
  cursor_->unwatch();
  EXPECT_FALSE(cursor_->currentCursor());
  show(imageOf("pointer"));
  EXPECT_EQ(changes_, 1);
  watch();
  EXPECT_EQ(name(), u"pointer"_s);
}

TEST_F(PortalCursorTest, knowsNoCursorWithoutAStream) {
  watch();
  EXPECT_FALSE(cursor_->currentCursor());
  show(imageOf("text"));
  ASSERT_TRUE(becomes(u"text"_s));
  cursor_->streamsClosed();
  EXPECT_FALSE(cursor_->currentCursor());
  move();
  EXPECT_FALSE(cursor_->currentCursor());
  show(imageOf("text"));
  EXPECT_EQ(name(), u"text"_s);
}

TEST_F(PortalCursorTest, givesTheBitmapOfACursorWithoutAName) {
  const CursorBitmap drawing{{3, 2}, {1, 1}, {0xffff0000, 0xff00ff00, 0, 0, 0xff0000ff, 0xffffffff}};
  watch();
  show(drawing);
  ASSERT_TRUE(becomes(QString()));
  EXPECT_EQ(cursor_->currentCursor()->bitmap, drawing);
}

TEST_F(PortalCursorTest, anInvisibleImageIsATransparentBitmap) {
  watch();
  show({});
  ASSERT_TRUE(becomes(QString()));
  EXPECT_EQ(cursor_->currentCursor()->bitmap, (CursorBitmap{{1, 1}, {0, 0}, {0}}));
}

TEST_F(PortalCursorTest, leavesOutBitmapsThatAreTooLargeOrMalformed) {
  watch();
  show({{300, 2}, {0, 0}, std::vector<std::uint32_t>(600, 0xff000000)});
  ASSERT_TRUE(becomes(QString()));
  EXPECT_FALSE(cursor_->currentCursor()->bitmap);
  show({{100, 100}, {0, 0}, {1, 2, 3}});
  EXPECT_FALSE(cursor_->currentCursor()->bitmap);
  EXPECT_EQ(name(), QString());
}

TEST_F(PortalCursorTest, aHiddenPointerKeepsItsCursor) {
  watch();
  show(imageOf("text"));
  ASSERT_TRUE(becomes(u"text"_s));
  cursor_->report({.node = 7, .visible = false});
  EXPECT_EQ(name(), u"text"_s);
}

TEST_F(PortalCursorTest, showsTheCursorOfTheStreamThatHasThePointer) {
  watch();
  show(imageOf("text"), 1);
  ASSERT_TRUE(becomes(u"text"_s));
  cursor_->report({.node = 2, .visible = false, .bitmap = imageOf("pointer")});
  EXPECT_EQ(name(), u"text"_s);
  move(2);
  EXPECT_EQ(name(), u"pointer"_s);
  move(1);
  EXPECT_EQ(name(), u"text"_s);
  EXPECT_EQ(changes_, 3);
}

TEST_F(PortalCursorTest, reportsOneMovementForEachRequest) {
  show(imageOf("text"));
  watch();
  cursor_->armPointerEvent();
  cursor_->armPointerEvent();
  show(imageOf("text"));
  EXPECT_EQ(uses_, 0);
  move();
  move();
  EXPECT_EQ(uses_, 1);
  cursor_->armPointerEvent();
  move(8);
  EXPECT_EQ(uses_, 2);
}

TEST_F(PortalCursorTest, thePlaceInTheFirstReportIsNoMovement) {
  watch();
  cursor_->armPointerEvent();
  move();
  EXPECT_EQ(uses_, 0);
  cursor_->report({.node = 7, .visible = false, .position = {900, 900}});
  EXPECT_EQ(uses_, 0);
  move();
  EXPECT_EQ(uses_, 1);
}

TEST_F(PortalCursorTest, aHandlerMayEndTheWatch) {
  show(imageOf("text"));
  cursor_->watch({.cursorChanged = [this] { cursor_->unwatch(); }, .pointerUsed = [this] { cursor_->unwatch(); }});
  EXPECT_TRUE(testloop::waitFor([&] {
    cursor_->armPointerEvent();
    move();
    return name() == u"(none)"_s;
  }));
  cursor_->armPointerEvent();
  move();
  EXPECT_FALSE(cursor_->currentCursor());
}

TEST_F(PortalCursorTest, followsTheThemeOfTheDesktop) {
  watch();
  show(imageOf("wait", "breeze_cursors"));
  ASSERT_TRUE(becomes(QString()));
  show(imageOf("not-allowed", "breeze_cursors", 48));
  EXPECT_EQ(name(), QString());
  cursor_->setTheme(u"breeze_cursors"_s, 48);
  EXPECT_TRUE(becomes(u"not-allowed"_s));
}

TEST_F(PortalCursorTest, takesTheNewestOfThemesThatChangeQuickly) {
  watch();
  show(imageOf("text", "breeze_cursors"));
  cursor_->setTheme(u"no-such-theme"_s, 24);
  cursor_->setTheme(u"Adwaita"_s, 24);
  cursor_->setTheme(u"breeze_cursors"_s, 24);
  EXPECT_TRUE(becomes(u"text"_s));
}

TEST_F(PortalCursorTest, endsWhileItReadsTheTheme) {
  watch();
  show(imageOf("text"));
  cursor_.reset();
  testloop::drain();
  EXPECT_EQ(changes_, 0);
}

TEST_F(PortalCursorTest, streamsWithoutEndTakeNoMemory) {
  watch();
  show(imageOf("text"), 1);
  ASSERT_TRUE(becomes(u"text"_s));
  for (std::uint32_t node = 2; node < 1000; ++node) {
    cursor_->report({.node = node, .visible = false, .bitmap = imageOf("text")});
  }
  move(900);
  EXPECT_EQ(name(), u"text"_s);
  show(imageOf("pointer"), 1);
  EXPECT_EQ(name(), u"pointer"_s);
}

}  // namespace
}  // namespace vantora
