// When the panel opens by itself: with real trays that exist, start late or show nothing.
#include <gtest/gtest.h>

#include "tests/ui/dbus/BusFixture.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace vantora {
namespace {

using testui::FakeWatcher;

class PanelOnItsOwnTest : public BusFixture {
 protected:
  void start(PanelFallback::Times times = {.forTray = 50ms, .forAnswer = 60s, .forManager = 60s, .step = 5ms}) {
    BusFixture::start();
    interface_->showPanelUnlessTray([this] { ++decided_; }, times);
  }
  [[nodiscard]] bool isDecided() {
    return waitFor([this] { return decided_ > 0; });
  }
  static bool panelIsVisible() {
    for (const QWidget* window : QApplication::topLevelWidgets()) {
      if (window->isVisible() && window->windowTitle() == u"Vantora Host"_s) return true;
    }
    return false;
  }

  int decided_ = 0;
};

TEST_F(PanelOnItsOwnTest, comesUpWithoutATray) {
  start();
  EXPECT_FALSE(panelIsVisible());
  ASSERT_TRUE(isDecided());
  EXPECT_TRUE(panelIsVisible());
}

TEST_F(PanelOnItsOwnTest, comesUpWhereAWatcherHasNoHost) {
  const FakeWatcher watcher(other_, false);
  start();
  ASSERT_TRUE(isDecided());
  EXPECT_EQ(watcher.items().size(), 1);
  EXPECT_TRUE(panelIsVisible());
}

TEST_F(PanelOnItsOwnTest, staysAwayWhereAPanelShowsTheItem) {
  const FakeWatcher watcher(other_);
  start();
  ASSERT_TRUE(isDecided());
  EXPECT_FALSE(panelIsVisible());
}

TEST_F(PanelOnItsOwnTest, staysAwayWhereThePanelStartsLate) {
  FakeWatcher watcher(other_, false);
  start({.forTray = 3s, .forAnswer = 60s, .forManager = 60s, .step = 5ms});
  ASSERT_TRUE(waitFor([this] { return bar().trayKnown(); }));
  EXPECT_FALSE(bar().trayShown());
  watcher.setHostRegistered(true);
  ASSERT_TRUE(waitFor([this] { return bar().trayShown(); }));
  ASSERT_TRUE(isDecided());
  EXPECT_FALSE(panelIsVisible());
}

TEST_F(PanelOnItsOwnTest, staysAwayWhileThePanelHasNotAnsweredAndThenShowsTheItem) {
  FakeWatcher watcher(other_);
  watcher.stop();
  start();
  ASSERT_TRUE(waitFor([&] { return watcher.kept(u"Get"_s) > 0; }));
  // Longer than the time limit for trays.
  bool over = false;
  QTimer::singleShot(100ms, &context_, [&over] { over = true; });
  ASSERT_TRUE(waitFor([&over] { return over; }));
  EXPECT_EQ(decided_, 0);
  watcher.goOn();
  ASSERT_TRUE(isDecided());
  EXPECT_FALSE(panelIsVisible());
}

TEST_F(PanelOnItsOwnTest, staysAwayOnceTheUserHasClosedIt) {
  start();
  bar().showPanel();
  ASSERT_TRUE(panelIsVisible());
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->windowTitle() == u"Vantora Host"_s) window->close();
  }
  ASSERT_TRUE(isDecided());
  EXPECT_FALSE(panelIsVisible());
}

}  // namespace
}  // namespace vantora
