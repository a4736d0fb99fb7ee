// When the shape is checked and what is sent; no accessibility service is running.
#include "tests/unit/control/cursor/CursorMonitorFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using CursorMonitorTest = CursorMonitorFixture;

TEST_F(CursorMonitorTest, sendsTheFirstShapeATenthOfASecondAfterTheStart) {
  make();
  monitor_->startCursorMonitoring();
  scheduler_.advance(99ms);
  EXPECT_TRUE(sender_.sent.isEmpty());
  scheduler_.advance(1ms);
  const QList<fakes::FakeControlSender::Sent> sent = sender_.take();
  ASSERT_EQ(sent.size(), 1);
  EXPECT_EQ(sent[0].channel, ControlChannel::control);
  EXPECT_EQ(sent[0].message, (JsonObject{{u"type"_s, u"cursor_shape"_s},
                                         {u"shape"_s, u"default"_s},
                                         {u"timestamp"_s, qint64(scheduler_.unixMilliseconds())}}));
}

TEST_F(CursorMonitorTest, checksEveryHalfSecondWithoutAnyEvent) {
  start();
  cursor_.showQuietly(u"xterm"_s);
  scheduler_.advance(499ms);
  EXPECT_TRUE(shapes().isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
  cursor_.showQuietly(u"hand2"_s);
  scheduler_.advance(500ms);
  EXPECT_EQ(shapes(), QStringList{u"pointer"_s});
}

TEST_F(CursorMonitorTest, sendsAShapeOnceAndNotAtEveryCheck) {
  start();
  cursor_.show(u"xterm"_s);
  scheduler_.advance(10s);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
}

TEST_F(CursorMonitorTest, anotherCursorOfTheSameShapeIsNoChange) {
  start();
  cursor_.show(u"xterm"_s);
  scheduler_.advance(1s);
  cursor_.show(u"ibeam"_s);
  scheduler_.advance(1s);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
}

TEST_F(CursorMonitorTest, sendsAChangeAtOnceWhenTheDesktopReportsIt) {
  start();
  cursor_.show(u"xterm"_s);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
}

TEST_F(CursorMonitorTest, checksATenthOfASecondAfterThePointerWasUsed) {
  start();
  cursor_.showQuietly(u"xterm"_s);
  EXPECT_TRUE(cursor_.usePointer());
  scheduler_.advance(99ms);
  EXPECT_TRUE(shapes().isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
}

TEST_F(CursorMonitorTest, aBurstOfMovementsIsOneCheckEveryTenthOfASecond) {
  start();
  const int before = cursor_.reads;
  for (int millisecond = 0; millisecond < 300; ++millisecond) {
    cursor_.usePointer();
    scheduler_.advance(1ms);
  }
  EXPECT_LE(cursor_.reads - before, 3);
  EXPECT_GE(cursor_.reads - before, 2);
}

TEST_F(CursorMonitorTest, aCursorThatFlickersIsCheckedFiftyTimesASecondAtMost) {
  start();
  for (int millisecond = 0; millisecond < 1000; ++millisecond) {
    cursor_.show(millisecond % 2 == 0 ? u"xterm"_s : u"hand2"_s);
    scheduler_.advance(1ms);
  }
  const qsizetype changes = shapes().size();
  EXPECT_LE(changes, 55);
  EXPECT_GE(changes, 2);
  cursor_.show(u"fleur"_s);
  scheduler_.advance(20ms);
  EXPECT_EQ(shapes().last(), u"move"_s);
}

TEST_F(CursorMonitorTest, usesControlWhenItExistsAndElseTheReliableChannel) {
  start();
  sender_.control.exists = false;
  cursor_.show(u"xterm"_s);
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(sender_.sent[0].channel, ControlChannel::reliable);
}

TEST_F(CursorMonitorTest, aChangeWhileTheChannelIsNotOpenIsLost) {
  start();
  sender_.control.open = false;
  cursor_.show(u"xterm"_s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  sender_.control.open = true;
  scheduler_.advance(5s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(CursorMonitorTest, withoutACursorTheShapeIsTheDefault) {
  start();
  cursor_.show(u"xterm"_s);
  cursor_.showQuietly(std::nullopt);
  scheduler_.advance(500ms);
  EXPECT_EQ(shapes(), (QStringList{u"text"_s, u"default"_s}));
}

TEST_F(CursorMonitorTest, doesNothingAfterTheStop) {
  start();
  cursor_.usePointer();
  monitor_->stopCursorMonitoring();
  EXPECT_FALSE(cursor_.watched());
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  const int before = cursor_.reads;
  cursor_.show(u"xterm"_s);
  EXPECT_FALSE(cursor_.usePointer());
  monitor_->checkCursorShape();
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(cursor_.reads, before);
}

TEST_F(CursorMonitorTest, afterAReconnectOnlyADifferentShapeIsSent) {
  start();
  cursor_.show(u"xterm"_s);
  sender_.take();
  monitor_->stopCursorMonitoring();
  monitor_->startCursorMonitoring();
  scheduler_.advance(2s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  monitor_->stopCursorMonitoring();
  cursor_.show(u"hand2"_s);
  monitor_->startCursorMonitoring();
  scheduler_.advance(100ms);
  EXPECT_EQ(shapes(), QStringList{u"pointer"_s});
}

TEST_F(CursorMonitorTest, aSecondStartReplacesTheFirst) {
  start();
  monitor_->startCursorMonitoring();
  cursor_.show(u"xterm"_s);
  scheduler_.advance(1s);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
  monitor_->stopCursorMonitoring();
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(CursorMonitorTest, stopsWhenItDies) {
  start();
  monitor_.reset();
  EXPECT_FALSE(cursor_.watched());
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

// Messages of the viewer

TEST_F(CursorMonitorTest, aQueryIsAnsweredWithTheShapeEvenWhenItWasSentBefore) {
  start();
  cursor_.show(u"xterm"_s);
  sender_.take();
  QStringList order;
  for (int time = 0; time < 3; ++time) {
    monitor_->handleCursorQuery([&] { order.append(shapes() << u"ack"_s); });
  }
  const QStringList once{u"text"_s, u"ack"_s};
  EXPECT_EQ(order, once + once + once);
}

TEST_F(CursorMonitorTest, aQueryDoesNotCountAsSent) {
  start();
  cursor_.showQuietly(u"xterm"_s);
  monitor_->handleCursorQuery([] {});
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
  scheduler_.advance(500ms);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
}

TEST_F(CursorMonitorTest, sendsTheTestShapeAsGiven) {
  start();
  for (const QString& shape : {u"zoom-in"_s, u""_s, u"url(x), ☂\n"_s}) {
    EXPECT_TRUE(monitor_->handleTestCursor({{u"shape"_s, shape}}));
    EXPECT_EQ(shapes(), QStringList{shape});
  }
  scheduler_.advance(5s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(CursorMonitorTest, aTestWithoutAShapeIsIgnored) {
  start();
  EXPECT_FALSE(monitor_->handleTestCursor({}));
  EXPECT_FALSE(monitor_->handleTestCursor({{u"shape"_s, 5}}));
  EXPECT_FALSE(monitor_->handleTestCursor({{u"shape"_s, QJsonValue::Null}}));
  EXPECT_TRUE(sender_.sent.isEmpty());
}

// The test cycle

TEST_F(CursorMonitorTest, testModeSendsThirteenShapesEachOnce) {
  variables_["CURSOR_TEST"] = u"1"_s;
  scheduler_.setUnixBase(13 * 3s * 1000);
  make();
  monitor_->startCursorMonitoring();
  scheduler_.advance(38999ms);
  EXPECT_EQ(shapes(), (QStringList{u"default"_s, u"pointer"_s, u"text"_s, u"grab"_s, u"grabbing"_s, u"crosshair"_s,
                                   u"not-allowed"_s, u"ew-resize"_s, u"ns-resize"_s, u"n-resize"_s, u"s-resize"_s,
                                   u"w-resize"_s, u"e-resize"_s}));
  // The next check is at most half a second late.
  scheduler_.advance(501ms);
  EXPECT_EQ(shapes(), QStringList{u"default"_s});
}

TEST_F(CursorMonitorTest, testModeAsksNeitherCursorNorAccessibility) {
  variables_["CURSOR_TEST"] = u"1"_s;
  accessibility_.trusted = AccessibilityTrust::granted;
  make();
  monitor_->startCursorMonitoring();
  cursor_.show(u"xterm"_s);
  scheduler_.advance(5s);
  EXPECT_EQ(cursor_.reads, 0);
  EXPECT_EQ(accessibility_.requests, 0);
}

TEST_F(CursorMonitorTest, testModeIsOnForExactlyOne) {
  for (const QString& text : {u""_s, u"0"_s, u"true"_s, u" 1"_s}) {
    variables_["CURSOR_TEST"] = text;
    start();
    cursor_.show(u"fleur"_s);
    EXPECT_EQ(shapes(), QStringList{u"move"_s});
    cursor_.show(u"left_ptr"_s);
  }
}

// Log lines

TEST_F(CursorMonitorTest, saysWhatItDoesWhenAskedTo) {
  make(true);
  monitor_->startCursorMonitoring();
  EXPECT_EQ(log_.lines(), QStringList{u"[cursor] Starting cursor shape monitoring"_s});
  log_.clear();
  cursor_.show(u"xterm"_s);
  EXPECT_EQ(log_.lines(), (QStringList{u"[cursor] Fallback NSCursor: text"_s, u"[cursor] Shape changed to: text"_s}));
  log_.clear();
  monitor_->handleCursorQuery([] {});
  EXPECT_EQ(log_.lines(),
            (QStringList{u"[cursor] Fallback NSCursor: text"_s, u"[cursor] Cursor query → sending: text"_s}));
  log_.clear();
  EXPECT_TRUE(monitor_->handleTestCursor({{u"shape"_s, u"grab"_s}}));
  EXPECT_EQ(log_.lines(), QStringList{u"[cursor] Test cursor shape requested: grab"_s});
}

TEST_F(CursorMonitorTest, saysNothingUnasked) {
  start();
  cursor_.show(u"xterm"_s);
  monitor_->handleCursorQuery([] {});
  EXPECT_TRUE(monitor_->handleTestCursor({{u"shape"_s, u"grab"_s}}));
  EXPECT_TRUE(log_.lines().isEmpty());
}

}  // namespace
}  // namespace vantora
