// How the monitor uses an accessibility service.
#include "tests/unit/control/cursor/CursorMonitorFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class CursorAccessibilityTest : public CursorMonitorFixture {
 protected:
  CursorAccessibilityTest() { accessibility_.trusted = AccessibilityTrust::granted; }
};

TEST_F(CursorAccessibilityTest, theElementUnderThePointerGoesBeforeTheCursor) {
  pointAt(u"AXTextField"_s);
  cursor_.showQuietly(u"fleur"_s);
  make();
  monitor_->startCursorMonitoring();
  scheduler_.advance(100ms);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
  EXPECT_EQ(accessibility_.lastMaximum, 6);
}

TEST_F(CursorAccessibilityTest, hoveringATextFieldSendsTextOnce) {
  start();
  pointAt(u"AXTextField"_s);
  cursor_.usePointer();
  scheduler_.advance(10s);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
}

TEST_F(CursorAccessibilityTest, anElementThatSaysNothingLeavesItToTheCursor) {
  start();
  pointAt(u"AXStaticText"_s);
  cursor_.showQuietly(u"hand2"_s);
  scheduler_.advance(500ms);
  EXPECT_EQ(shapes(), QStringList{u"pointer"_s});
}

TEST_F(CursorAccessibilityTest, thePlaceInTheWindowDecidesAtItsEdges) {
  start();
  accessibility_.pointed = {.pointer = {13, 13},
                            .elements = {{.role = u"AXWindow"_s, .frame = QRectF(10, 10, 300, 200)}}};
  scheduler_.advance(500ms);
  EXPECT_EQ(shapes(), QStringList{u"nwse-resize"_s});
}

TEST_F(CursorAccessibilityTest, asksAtMostEveryTenthOfASecond) {
  start();
  const int before = accessibility_.requests;
  for (int millisecond = 0; millisecond < 1000; ++millisecond) {
    cursor_.usePointer();
    cursor_.show(millisecond % 2 == 0 ? u"xterm"_s : u"hand2"_s);
    monitor_->handleCursorQuery([] {});
    scheduler_.advance(1ms);
  }
  EXPECT_LE(accessibility_.requests - before, 11);
  EXPECT_GE(accessibility_.requests - before, 9);
}

TEST_F(CursorAccessibilityTest, checksAgainWhenTheLastResultWasTooYoung) {
  start();
  scheduler_.advance(400ms);  // The next check is 100 ms away.
  cursor_.usePointer();
  scheduler_.advance(100ms);  // Both at the same time.
  pointAt(u"AXLink"_s);
  cursor_.show(u"xterm"_s);  // Too early for a request: the cursor for now, the element later.
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
  scheduler_.advance(100ms);
  EXPECT_EQ(shapes(), QStringList{u"pointer"_s});
}

TEST_F(CursorAccessibilityTest, anApplicationThatDoesNotAnswerIsWaitedForOnlyAMoment) {
  accessibility_.answersAtOnce = false;
  make();
  monitor_->startCursorMonitoring();
  cursor_.show(u"xterm"_s);
  EXPECT_TRUE(shapes().isEmpty());
  scheduler_.advance(299ms);
  EXPECT_TRUE(shapes().isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
  // While its reply is outstanding, no further request is made and nothing waits.
  cursor_.show(u"hand2"_s);
  EXPECT_EQ(shapes(), QStringList{u"pointer"_s});
  scheduler_.advance(5s);
  EXPECT_EQ(accessibility_.requests, 1);
}

TEST_F(CursorAccessibilityTest, aLateAnswerIsDropped) {
  accessibility_.answersAtOnce = false;
  make();
  monitor_->startCursorMonitoring();
  scheduler_.advance(400ms);
  EXPECT_EQ(shapes(), QStringList{u"default"_s});
  pointAt(u"AXTextField"_s);
  accessibility_.answer();
  EXPECT_TRUE(shapes().isEmpty());
  // From then on requests are made again.
  scheduler_.advance(200ms);
  EXPECT_EQ(accessibility_.requests, 2);
  accessibility_.answer();
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
}

TEST_F(CursorAccessibilityTest, aQueryWaitsForTheElementAndIsThenAcknowledged) {
  start();
  accessibility_.answersAtOnce = false;
  scheduler_.advance(200ms);
  QStringList order;
  for (int time = 0; time < 2; ++time) monitor_->handleCursorQuery([&] { order.append(shapes() << u"ack"_s); });
  EXPECT_TRUE(order.isEmpty());
  pointAt(u"AXLink"_s);
  accessibility_.answer();
  EXPECT_EQ(order, (QStringList{u"pointer"_s, u"ack"_s, u"pointer"_s, u"ack"_s}));
}

TEST_F(CursorAccessibilityTest, aFloodOfQueriesIsAnsweredInFullWithoutPilingUp) {
  start();
  accessibility_.answersAtOnce = false;
  scheduler_.advance(200ms);
  int acknowledged = 0;
  for (int time = 0; time < 10000; ++time) monitor_->handleCursorQuery([&] { ++acknowledged; });
  EXPECT_GE(acknowledged, 9900);
  accessibility_.answer();
  EXPECT_EQ(acknowledged, 10000);
  EXPECT_EQ(shapes().size(), 10000);
}

TEST_F(CursorAccessibilityTest, anAnswerAfterTheStopIsNotRecorded) {
  start();
  accessibility_.answersAtOnce = false;
  scheduler_.advance(500ms);
  ASSERT_TRUE(accessibility_.asked());
  monitor_->stopCursorMonitoring();
  pointAt(u"AXLink"_s);
  accessibility_.answer();
  EXPECT_TRUE(shapes().isEmpty());
  accessibility_.answersAtOnce = true;
  monitor_->startCursorMonitoring();
  scheduler_.advance(500ms);
  EXPECT_EQ(shapes(), QStringList{u"pointer"_s});
}

TEST_F(CursorAccessibilityTest, anAnswerAfterItsDeathIsDropped) {
  start();
  accessibility_.answersAtOnce = false;
  scheduler_.advance(500ms);
  ASSERT_TRUE(accessibility_.asked());
  monitor_.reset();
  accessibility_.answer();
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(CursorAccessibilityTest, nobodyIsAskedWhileNoViewerIsConnected) {
  make();
  scheduler_.advance(5s);
  EXPECT_EQ(accessibility_.requests, 0);
  monitor_->startCursorMonitoring();
  scheduler_.advance(1s);
  monitor_->stopCursorMonitoring();
  const int before = accessibility_.requests;
  EXPECT_GT(before, 0);
  scheduler_.advance(5s);
  EXPECT_EQ(accessibility_.requests, before);
}

// Permission

TEST_F(CursorAccessibilityTest, reportsAtEveryCheckThatThePermissionIsMissing) {
  start();
  accessibility_.trusted = AccessibilityTrust::refused;
  const int before = accessibility_.requests;
  cursor_.showQuietly(u"xterm"_s);
  scheduler_.advance(2s);
  int told = 0;
  QStringList others;
  for (const auto& sent : sender_.take()) {
    if (sent.message == JsonObject{{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"accessibility"_s}}) {
      EXPECT_EQ(sent.channel, ControlChannel::reliable);
      ++told;
    } else {
      others.append(sent.message.value(u"shape"_s).toString());
    }
  }
  EXPECT_EQ(told, 4);
  EXPECT_EQ(others, QStringList{u"text"_s});
  EXPECT_EQ(accessibility_.requests, before);
}

TEST_F(CursorAccessibilityTest, saysNothingOfThePermissionWhileTheReliableChannelIsNotOpen) {
  accessibility_.trusted = AccessibilityTrust::refused;
  start();
  sender_.reliable.open = false;
  scheduler_.advance(2s);
  sender_.reliable.exists = false;
  scheduler_.advance(2s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(CursorAccessibilityTest, aDesktopWithoutTheServiceMissesNoPermission) {
  accessibility_.trusted = AccessibilityTrust::absent;
  start();
  scheduler_.advance(5s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(accessibility_.requests, 0);
}

TEST_F(CursorAccessibilityTest, saysWhereTheShapeComesFrom) {
  start(true);
  pointAt(u"AXTextField"_s);
  scheduler_.advance(500ms);
  EXPECT_EQ(log_.lines(),
            (QStringList{u"[cursor] Detected via Accessibility: text"_s, u"[cursor] Shape changed to: text"_s}));
}

}  // namespace
}  // namespace vantora
