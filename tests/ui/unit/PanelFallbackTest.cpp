#include <gtest/gtest.h>

#include "main/ui/panel/PanelFallback.h"
#include "tests/fakes/EventLoop.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace std::chrono_literals;

namespace vantora {
namespace {

class PanelFallbackTest : public testui::UiTest {
 protected:
  void start() {
    fallback_ = std::make_unique<PanelFallback>(
        PanelFallback::Callbacks{.seen =
                                     [this] {
                                       ++checks_;
                                       return seen_;
                                     },
                                 .trayKnown = [this] { return trayKnown_; },
                                 .windowsManaged = [this] { return managed_; },
                                 .show = [this] { ++shown_; },
                                 .done =
                                     [this] {
                                       ++done_;
                                       fallback_.reset();
                                     }},
        PanelFallback::Times{.forTray = 20ms, .forAnswer = 60ms, .forManager = forManager_, .step = 5ms});
  }
  [[nodiscard]] bool becomesDone() {
    return testloop::waitFor([this] { return done_ > 0; });
  }
  [[nodiscard]] bool checksAgain() {
    return testloop::waitFor([this, before = checks_] { return checks_ > before + 2; });
  }

  bool seen_ = false;
  bool trayKnown_ = true;
  bool managed_ = true;
  std::chrono::milliseconds forManager_ = 60s;
  int checks_ = 0;
  int shown_ = 0;
  int done_ = 0;
  std::unique_ptr<PanelFallback> fallback_;
};

TEST_F(PanelFallbackTest, showsThePanelWhereNoTrayTakesTheItem) {
  start();
  EXPECT_EQ(shown_, 0);
  ASSERT_TRUE(becomesDone());
  EXPECT_EQ(shown_, 1);
  EXPECT_EQ(done_, 1);
}

TEST_F(PanelFallbackTest, leavesItToATrayThatTakesTheItemLate) {
  start();
  seen_ = true;
  ASSERT_TRUE(becomesDone());
  EXPECT_EQ(shown_, 0);
}

TEST_F(PanelFallbackTest, waitsForAPanelThatHasNotAnsweredYet) {
  trayKnown_ = false;
  start();
  ASSERT_TRUE(testloop::waitFor([this] { return checks_ > 0; }));
  EXPECT_EQ(shown_ + done_, 0);
  seen_ = true;
  ASSERT_TRUE(becomesDone());
  EXPECT_EQ(shown_, 0);
}

TEST_F(PanelFallbackTest, doesNotWaitForeverForAPanelThatHangs) {
  trayKnown_ = false;
  start();
  ASSERT_TRUE(becomesDone());
  EXPECT_EQ(shown_, 1);
}

TEST_F(PanelFallbackTest, waitsForAWindowManager) {
  managed_ = false;
  start();
  ASSERT_TRUE(checksAgain());
  EXPECT_EQ(shown_ + done_, 0);
  managed_ = true;
  ASSERT_TRUE(becomesDone());
  EXPECT_EQ(shown_, 1);
}

TEST_F(PanelFallbackTest, showsNothingOnAScreenWithoutADesktop) {
  managed_ = false;
  forManager_ = 80ms;
  start();
  ASSERT_TRUE(becomesDone());
  EXPECT_EQ(shown_, 0);
}

}  // namespace
}  // namespace vantora
