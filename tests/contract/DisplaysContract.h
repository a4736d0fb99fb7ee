// Contract tests for every Displays implementation. Include it once in a test program for each implementation, and
// instantiate DisplaysContract with a factory of benches.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>

#include "platform/Displays.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {

// An implementation over a desktop of one display, 1000 x 600 pixels.
class DisplaysBench {
 public:
  virtual ~DisplaysBench() = default;
  virtual Displays& displays() = 0;
  // Splits the desktop into a first display of 600 pixels width and a second one right of it.
  virtual void split() = 0;
  // Ends the desktop.
  virtual void lose() = 0;
};

class DisplaysContract : public testing::TestWithParam<std::function<std::unique_ptr<DisplaysBench>()>> {
 protected:
  void SetUp() override {
    testing_loop::ensureApplication();
    bench_ = GetParam()();
    ASSERT_TRUE(bench_);
  }
  std::vector<QRect> bounds() {
    std::vector<QRect> all;
    for (const Display& display : bench_->displays().list()) all.push_back(display.bounds);
    return all;
  }

  std::unique_ptr<DisplaysBench> bench_;
};

TEST_P(DisplaysContract, listsTheWholeDesktop) { EXPECT_EQ(bounds(), std::vector{QRect(0, 0, 1000, 600)}); }

TEST_P(DisplaysContract, namesAndNumbersEveryDisplay) {
  bench_->split();
  std::set<std::uint32_t> ids;
  for (const Display& display : bench_->displays().list()) {
    EXPECT_FALSE(display.name.isEmpty());
    EXPECT_NE(display.id, 0U);
    EXPECT_TRUE(ids.insert(display.id).second);
    EXPECT_EQ(display.rotationDegrees, 0);
    EXPECT_EQ(display.frame(), QRectF(display.bounds));
  }
  EXPECT_EQ(ids.size(), 2U);
}

TEST_P(DisplaysContract, seesAChangeAtTheNextCall) {
  EXPECT_EQ(bounds().size(), 1U);
  bench_->split();
  EXPECT_EQ(bounds(), (std::vector{QRect(0, 0, 600, 600), QRect(600, 0, 400, 600)}));
}

TEST_P(DisplaysContract, reportsAChange) {
  int told = 0;
  bench_->displays().setChangedHandler([&] { ++told; });
  bench_->split();
  EXPECT_TRUE(testing_loop::waitFor([&] { return told > 0 && bounds().size() == 2; }));
  testing_loop::drain();
  const int before = told;
  bench_->displays().setChangedHandler(nullptr);
  bench_->lose();
  testing_loop::drain();
  EXPECT_EQ(told, before) << "nobody wants to know any more";
}

TEST_P(DisplaysContract, reportsThatTheDesktopIsGone) {
  int told = 0;
  EXPECT_EQ(bounds().size(), 1U);
  bench_->displays().setChangedHandler([&] { ++told; });
  bench_->lose();
  EXPECT_TRUE(testing_loop::waitFor([&] { return told > 0; }));
  EXPECT_TRUE(bench_->displays().list().empty());
}

TEST_P(DisplaysContract, saysTheSameUntilSomethingChanges) {
  const auto first = bench_->displays().list();
  EXPECT_EQ(bench_->displays().list(), first);
}

TEST_P(DisplaysContract, listsNothingOnceTheDesktopIsGone) {
  EXPECT_EQ(bounds().size(), 1U);
  bench_->lose();
  EXPECT_TRUE(bench_->displays().list().empty());
  EXPECT_TRUE(bench_->displays().list().empty());
}

}  // namespace vantora
