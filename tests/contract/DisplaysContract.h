// Contract tests for every Displays implementation. See DesktopContracts.h.
#pragma once

#include <set>
#include <vector>

#include "tests/contract/DesktopContract.h"

namespace vantora {

class DisplaysContract : public DesktopContract {
 protected:
  Displays& displays() { return session().displays(); }
  std::vector<QRect> bounds() {
    std::vector<QRect> all;
    for (const Display& display : displays().list()) all.push_back(display.bounds);
    return all;
  }
};

TEST_P(DisplaysContract, listsTheWholeDesktop) { EXPECT_EQ(bounds(), std::vector{QRect(0, 0, 1000, 600)}); }

TEST_P(DisplaysContract, namesAndNumbersEveryDisplay) {
  desktop_->split();
  std::set<std::uint32_t> ids;
  for (const Display& display : displays().list()) {
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
  desktop_->split();
  const auto both = bounds();
  ASSERT_EQ(both.size(), 2U);
  EXPECT_EQ(both[0].size(), QSize(600, 600));
  EXPECT_EQ(both[1], QRect(both[0].topLeft() + QPoint(600, 0), QSize(400, 600)));
}

TEST_P(DisplaysContract, findsADisplayAlsoAfterItWasRemoved) {
  desktop_->split();
  const Display second = displays().list().back();
  EXPECT_EQ(displays().find(second.id), second);
  desktop_->removeSecond();
  ASSERT_EQ(bounds().size(), 1U);
  EXPECT_EQ(displays().find(second.id), second);
  EXPECT_EQ(displays().find(second.id + 12'345), std::nullopt);
}

TEST_P(DisplaysContract, reportsAChange) {
  int told = 0;
  displays().setChangedHandler([&] { ++told; });
  desktop_->split();
  EXPECT_TRUE(testloop::waitFor([&] { return told > 0 && bounds().size() == 2; }));
  testloop::drain();
  const int before = told;
  displays().setChangedHandler(nullptr);
  desktop_->lose();
  testloop::drain();
  EXPECT_EQ(told, before) << "nobody wants to know any more";
}

TEST_P(DisplaysContract, reportsThatTheDesktopIsGone) {
  int told = 0;
  EXPECT_EQ(bounds().size(), 1U);
  displays().setChangedHandler([&] { ++told; });
  desktop_->lose();
  EXPECT_TRUE(testloop::waitFor([&] { return told > 0; }));
  EXPECT_TRUE(displays().list().empty());
}

TEST_P(DisplaysContract, saysTheSameUntilSomethingChanges) {
  const auto first = displays().list();
  EXPECT_EQ(displays().list(), first);
}

TEST_P(DisplaysContract, listsNothingOnceTheDesktopIsGone) {
  EXPECT_EQ(bounds().size(), 1U);
  desktop_->lose();
  EXPECT_TRUE(displays().list().empty());
  EXPECT_TRUE(displays().list().empty());
}

}  // namespace vantora
