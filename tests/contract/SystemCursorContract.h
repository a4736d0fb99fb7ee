// Contract tests for every SystemCursor implementation. See DesktopContracts.h.
#pragma once

#include "tests/contract/DesktopContract.h"
#include "tests/fakes/PrintQt.h"

namespace vantora {

class SystemCursorContract : public DesktopContract {
 protected:
  void SetUp() override {
    DesktopContract::SetUp();
    // Some desktops report the cursor with the screen.
    capture_ = session().makeScreenCapture();
    ASSERT_EQ(openWhenDecided(*capture_, 0).outcome, ScreenCapture::Outcome::opened);
    CapturedFrame frame;
    ASSERT_TRUE(pollUntil(*capture_, frame, ScreenCapture::Poll::changed));
  }
  void TearDown() override {
    if (capture_) capture_->close();
  }
  SystemCursor& cursor() { return session().cursor(); }
  void watch() {
    cursor().watch({.cursorChanged = [this] { ++changes_; }, .pointerUsed = [this] { ++uses_; }});
  }
  // Compositors send the image of a cursor once, and a busy machine may lose it: then the program shows it again.
  [[nodiscard]] bool becomes(const QString& name) {
    constexpr int kAttempts = 6;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (attempt > 0) desktop_->showCursor(name);
      const auto isShown = [&] {
        const auto shown = cursor().currentCursor();
        return shown && desktop_->sameCursor(shown->name, name);
      };
      if (testloop::waitFor(isShown, testloop::Timeout(std::chrono::seconds(5)))) return true;
    }
    return false;
  }

  std::unique_ptr<ScreenCapture> capture_;
  int changes_ = 0;
  int uses_ = 0;
};

TEST_P(SystemCursorContract, knowsNoCursorWhileNobodyWatches) {
  desktop_->showCursor(QStringLiteral("xterm"));
  EXPECT_FALSE(cursor().currentCursor());
  watch();
  EXPECT_TRUE(becomes(QStringLiteral("xterm")));
  cursor().unwatch();
  EXPECT_FALSE(cursor().currentCursor());
}

TEST_P(SystemCursorContract, reportsAnotherCursorByItself) {
  desktop_->showCursor(QStringLiteral("xterm"));
  watch();
  ASSERT_TRUE(becomes(QStringLiteral("xterm")));
  const int before = changes_;
  desktop_->showCursor(QStringLiteral("fleur"));
  EXPECT_TRUE(becomes(QStringLiteral("fleur")));
  EXPECT_GT(changes_, before);
}

TEST_P(SystemCursorContract, givesTheBitmapOfACursorWithoutAName) {
  desktop_->showCursor(QStringLiteral("xterm"));
  watch();
  ASSERT_TRUE(becomes(QStringLiteral("xterm")));
  EXPECT_FALSE(cursor().currentCursor()->bitmap);
  desktop_->showCursor({});
  ASSERT_TRUE(becomes({}));
  const auto shown = cursor().currentCursor();
  ASSERT_TRUE(shown && shown->bitmap);
  const CursorBitmap& bitmap = *shown->bitmap;
  EXPECT_FALSE(bitmap.size.isEmpty());
  EXPECT_EQ(bitmap.pixels.size(), static_cast<std::size_t>(bitmap.size.width() * bitmap.size.height()));
  EXPECT_TRUE(QRect(QPoint(0, 0), bitmap.size).contains(bitmap.hotSpot));
}

TEST_P(SystemCursorContract, reportsOneUseOfThePointerForEachRequest) {
  desktop_->showCursor(QStringLiteral("xterm"));
  watch();
  ASSERT_TRUE(becomes(QStringLiteral("xterm")));
  cursor().armPointerEvent();
  cursor().armPointerEvent();
  // The server answers in order: once it has told this cursor, it knows of the request.
  desktop_->showCursor(QStringLiteral("fleur"));
  ASSERT_TRUE(becomes(QStringLiteral("fleur")));
  for (int i = 0; i < 5; ++i) desktop_->movePointer();
  ASSERT_TRUE(testloop::waitFor([&] { return uses_ > 0; }));
  desktop_->showCursor(QStringLiteral("hand2"));
  ASSERT_TRUE(becomes(QStringLiteral("hand2")));
  EXPECT_EQ(uses_, 1);
}

TEST_P(SystemCursorContract, reportsNothingAfterTheEndOfTheWatch) {
  watch();
  cursor().armPointerEvent();
  cursor().unwatch();
  const int before = changes_;
  desktop_->showCursor(QStringLiteral("fleur"));
  desktop_->movePointer();
  testloop::drain();
  EXPECT_EQ(changes_, before);
  EXPECT_EQ(uses_, 0);
}

TEST_P(SystemCursorContract, knowsNoCursorOnceTheDesktopIsGone) {
  desktop_->showCursor(QStringLiteral("xterm"));
  watch();
  ASSERT_TRUE(becomes(QStringLiteral("xterm")));
  desktop_->lose();
  EXPECT_TRUE(testloop::waitFor([&] { return !cursor().currentCursor(); }));
}

}  // namespace vantora
