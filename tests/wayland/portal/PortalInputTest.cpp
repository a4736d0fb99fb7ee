// Input through the portal: the calls that reach it.
#include <linux/input-event-codes.h>

#include <cmath>

#include "platform/portal/NotifyCalls.h"
#include "platform/portal/eis/EisInput.h"
#include "tests/wayland/portal/PortalFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class PortalInputTest : public PortalFixture {
 protected:
  void SetUp() override {
    shareAndGrant();
    // The keyboard is announced.
    EXPECT_EQ(calls(2), (QStringList{u"NotifyKeyboardKeycode(240, 1)"_s, u"NotifyKeyboardKeycode(240, 0)"_s}));
  }
  DesktopInput& input() { return desktop_->input(); }
  // The calls since the last time; waits for as many as are expected.
  QStringList calls(qsizetype expected) {
    EXPECT_TRUE(testloop::waitFor([&] { return portal_->notified.size() >= expected; }));
    testloop::drain();
    return std::exchange(portal_->notified, {});
  }
};

TEST_F(PortalInputTest, movesThePointerInTheScreensOwnUnits) {
  EXPECT_TRUE(input().moveTo(1, 0.5, 0.25));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 500, 150)"_s}));
}

TEST_F(PortalInputTest, theFarEdgeIsTheLastPixel) {
  EXPECT_TRUE(input().moveTo(1, 1, 1));
  EXPECT_EQ(calls(1), QStringList{u"NotifyPointerMotionAbsolute(42, 999, 599)"_s});
  EXPECT_TRUE(input().moveTo(1, 7, -3));
  EXPECT_EQ(calls(1), QStringList{u"NotifyPointerMotionAbsolute(42, 999, 0)"_s});
  EXPECT_TRUE(input().moveTo(1, NAN, 0.9999));
  EXPECT_EQ(calls(1), QStringList{u"NotifyPointerMotionAbsolute(42, 0, 599)"_s});
}

TEST_F(PortalInputTest, knowsOnlyScreensThatAreShared) { EXPECT_FALSE(input().moveTo(2, 0.5, 0.5)); }

TEST_F(PortalInputTest, usesTheKernelsCodesForButtons) {
  input().button(PointerButton::left, true);
  input().button(PointerButton::right, true);
  input().button(PointerButton::centre, true);
  input().button(PointerButton::left, false);
  EXPECT_EQ(calls(4), (QStringList{u"NotifyPointerButton(272, 1)"_s, u"NotifyPointerButton(273, 1)"_s,
                                   u"NotifyPointerButton(274, 1)"_s, u"NotifyPointerButton(272, 0)"_s}));
}

TEST_F(PortalInputTest, endsAPressWhoseReleaseWasLost) {
  input().button(PointerButton::left, true);
  input().button(PointerButton::left, true);
  input().button(PointerButton::right, false);
  EXPECT_EQ(calls(3), (QStringList{u"NotifyPointerButton(272, 1)"_s, u"NotifyPointerButton(272, 0)"_s,
                                   u"NotifyPointerButton(272, 1)"_s}));
}

TEST_F(PortalInputTest, turnsNotchesOfAWheelIntoSteps) {
  input().wheel({.vertical = 120});
  input().wheel({.vertical = -200});
  input().wheel({.horizontal = 100});
  input().wheel({.vertical = 120 * 1000});
  EXPECT_EQ(calls(4), (QStringList{u"NotifyPointerAxisDiscrete(0, -1)"_s, u"NotifyPointerAxisDiscrete(0, 2)"_s,
                                   u"NotifyPointerAxisDiscrete(1, 1)"_s, u"NotifyPointerAxisDiscrete(0, -32)"_s}));
}

TEST_F(PortalInputTest, scrollsSmoothlyByOtherDistances) {
  input().wheel({.vertical = -53, .horizontal = 106});
  EXPECT_EQ(calls(2), (QStringList{u"NotifyPointerAxis(0, 10)"_s, u"NotifyPointerAxis(20, 0)"_s}));
}

TEST_F(PortalInputTest, aHugeDistanceIsBounded) {
  input().wheel({.vertical = INT32_MIN, .horizontal = INT32_MAX});
  EXPECT_EQ(calls(2), (QStringList{u"NotifyPointerAxis(0, 320)"_s, u"NotifyPointerAxis(320, 0)"_s}));
}

TEST_F(PortalInputTest, pressesExactlyTheModifiersThatAreWanted) {
  EXPECT_TRUE(input().key(KEY_A, true, {.shift = true}));
  EXPECT_TRUE(input().key(KEY_B, true, {.control = true}));
  EXPECT_TRUE(input().key(KEY_A, false, {}));
  EXPECT_TRUE(input().key(KEY_B, false, {.alt = true}));
  EXPECT_EQ(calls(10), (QStringList{u"NotifyKeyboardKeycode(42, 1)"_s, u"NotifyKeyboardKeycode(30, 1)"_s,
                                    u"NotifyKeyboardKeycode(42, 0)"_s, u"NotifyKeyboardKeycode(29, 1)"_s,
                                    u"NotifyKeyboardKeycode(48, 1)"_s, u"NotifyKeyboardKeycode(29, 0)"_s,
                                    u"NotifyKeyboardKeycode(30, 0)"_s, u"NotifyKeyboardKeycode(56, 1)"_s,
                                    u"NotifyKeyboardKeycode(48, 0)"_s, u"NotifyKeyboardKeycode(56, 0)"_s}));
}

TEST_F(PortalInputTest, aRepetitionIsANewPress) {
  EXPECT_TRUE(input().key(KEY_A, true, {}));
  EXPECT_TRUE(input().key(KEY_A, true, {}));
  EXPECT_EQ(calls(3), (QStringList{u"NotifyKeyboardKeycode(30, 1)"_s, u"NotifyKeyboardKeycode(30, 0)"_s,
                                   u"NotifyKeyboardKeycode(30, 1)"_s}));
}

TEST_F(PortalInputTest, ignoresTheReleaseOfAKeyThatItDoesNotHold) {
  EXPECT_TRUE(input().key(KEY_A, false, {.shift = true}));
  EXPECT_FALSE(input().key(0, true, {}));
  EXPECT_FALSE(input().key(248, true, {}));
  testloop::drain();
  EXPECT_TRUE(portal_->notified.isEmpty());
}

TEST_F(PortalInputTest, shiftsToTheThirdLevelWithTheRightAlt) {
  EXPECT_TRUE(input().key(KEY_Q, true, {.altgr = true}));
  EXPECT_TRUE(input().key(KEY_Q, false, {.altgr = true}));
  EXPECT_EQ(calls(4), (QStringList{u"NotifyKeyboardKeycode(100, 1)"_s, u"NotifyKeyboardKeycode(16, 1)"_s,
                                   u"NotifyKeyboardKeycode(16, 0)"_s, u"NotifyKeyboardKeycode(100, 0)"_s}));
}

TEST_F(PortalInputTest, pressesTheSuperKeyAloneOnce) {
  EXPECT_TRUE(input().key(KEY_LEFTMETA, true, {}));
  EXPECT_TRUE(input().key(KEY_LEFTMETA, false, {}));
  EXPECT_EQ(calls(2), (QStringList{u"NotifyKeyboardKeycode(125, 1)"_s, u"NotifyKeyboardKeycode(125, 0)"_s}));
}

// No compositor tells the layout here.
TEST_F(PortalInputTest, leavesCharactersToThePortalWhileTheLayoutIsUnknown) {
  EXPECT_TRUE(input().key(KEY_A, true, {.control = true}));
  (void)calls(2);
  const TypingStep step = input().type(U"A€\n中");
  EXPECT_TRUE(step.possible);
  EXPECT_EQ(step.taken, 4U);
  EXPECT_EQ(step.typed, 4U);
  EXPECT_EQ(calls(9), (QStringList{u"NotifyKeyboardKeycode(29, 0)"_s, u"NotifyKeyboardKeysym(65, 1)"_s,
                                   u"NotifyKeyboardKeysym(65, 0)"_s, u"NotifyKeyboardKeysym(8364, 1)"_s,
                                   u"NotifyKeyboardKeysym(8364, 0)"_s, u"NotifyKeyboardKeycode(28, 1)"_s,
                                   u"NotifyKeyboardKeycode(28, 0)"_s, u"NotifyKeyboardKeysym(16797229, 1)"_s,
                                   u"NotifyKeyboardKeysym(16797229, 0)"_s}));
}

TEST_F(PortalInputTest, aTextWaitsForAPortalThatIsSlow) {
  portal_->stopped = true;
  std::size_t taken = 0;
  for (int step = 0; step < 100; ++step) taken += input().type(std::u32string(1000, U'a')).taken;
  EXPECT_LT(taken, 100U);
  portal_->proceed();
  EXPECT_EQ(calls(static_cast<qsizetype>(2 * taken)).size(), static_cast<qsizetype>(2 * taken));
  EXPECT_GT(input().type(U"a").taken, 0U);
}

TEST_F(PortalInputTest, releasesEverythingThatItHolds) {
  EXPECT_TRUE(input().key(KEY_A, true, {.shift = true}));
  input().button(PointerButton::left, true);
  (void)calls(3);
  input().releaseAll();
  EXPECT_EQ(calls(3), (QStringList{u"NotifyPointerButton(272, 0)"_s, u"NotifyKeyboardKeycode(30, 0)"_s,
                                   u"NotifyKeyboardKeycode(42, 0)"_s}));
  input().releaseAll();
  testloop::drain();
  EXPECT_TRUE(portal_->notified.isEmpty());
}

TEST_F(PortalInputTest, releasesWhatItHoldsAtTheEndOfTheProgram) {
  EXPECT_TRUE(input().key(KEY_A, true, {}));
  (void)calls(1);
  desktop_.reset();
  EXPECT_EQ(calls(1), (QStringList{u"NotifyKeyboardKeycode(30, 0)"_s}));
}

TEST_F(PortalInputTest, sendsNothingWithoutControl) {
  stopSharing();
  start();
  portal_->answer = testportal::Answer::viewOnly;
  shareAndGrant();
  portal_->notified.clear();
  EXPECT_FALSE(input().moveTo(1, 0.5, 0.5));
  EXPECT_FALSE(input().key(KEY_A, true, {}));
  EXPECT_FALSE(input().type(U"a").possible);
  input().button(PointerButton::left, true);
  input().wheel({.vertical = 120});
  input().releaseAll();
  testloop::drain();
  EXPECT_TRUE(portal_->notified.isEmpty());
}

// The first key of a machine without a keyboard is lost; no viewer may press one before it has control.
TEST_F(PortalInputTest, announcesTheKeyboardOnce) {
  askForControl();
  ASSERT_TRUE(permission_ && permission_->granted);
  stopSharing();
  shareAndGrant();
  testloop::drain();
  EXPECT_TRUE(portal_->notified.isEmpty());
}

TEST_F(PortalInputTest, nudgesThePointerForAFirstFrame) {
  access_->nudge(42);
  EXPECT_EQ(calls(2), (QStringList{u"NotifyPointerMotion(1, 0)"_s, u"NotifyPointerMotion(-1, 0)"_s}));
}

// Systems without libei.
TEST_F(PortalInputTest, leavesConnectionsAloneThatItCannotUse) {
  if (eisAvailable()) GTEST_SKIP() << "EisInputTest shows what happens here";
  start();
  portal_->remoteDesktop = 2;
  shareAndGrant();
  askForControl();
  EXPECT_TRUE(permission_ && permission_->granted);
  EXPECT_EQ(portal_->eisConnections, 0);
  EXPECT_TRUE(input().moveTo(1, 0.5, 0.25));
  EXPECT_TRUE(testloop::waitFor([&] { return portal_->notified.size() == 3; }));
}

// A portal that hangs gets a bounded number of calls, and the newest position once it continues.
TEST_F(PortalInputTest, aPortalThatHangsDelaysNothing) {
  portal_->stopped = true;
  for (int i = 0; i < 1'000; ++i) EXPECT_TRUE(input().moveTo(1, i / 1'000.0, 0));
  int accepted = 0;
  for (std::size_t i = 0; i < 2 * NotifyCalls::kMaxQueued; ++i) accepted += input().key(KEY_A, i % 2 == 0, {}) ? 1 : 0;
  EXPECT_EQ(accepted, 2 * NotifyCalls::kMaxQueued);
  EXPECT_TRUE(input().moveTo(1, 0.75, 0));
  testloop::drain();
  EXPECT_TRUE(portal_->notified.isEmpty());
  portal_->proceed();
  ASSERT_TRUE(
      testloop::waitFor([&] { return portal_->notified.contains(u"NotifyPointerMotionAbsolute(42, 750, 0)"_s); }));
  const auto keys = portal_->notified.filter(u"NotifyKeyboardKeycode"_s);
  EXPECT_LE(keys.size(), static_cast<qsizetype>(2 * NotifyCalls::kMaxQueued));
  EXPECT_EQ(keys.count(u"NotifyKeyboardKeycode(30, 1)"_s), keys.count(u"NotifyKeyboardKeycode(30, 0)"_s));
}

// The viewer's control may have ended while the portal was stopped.
TEST_F(PortalInputTest, whatWaitsWhenControlEndsIsNeverDone) {
  portal_->stopped = true;
  EXPECT_TRUE(input().key(KEY_A, true, {}));
  ASSERT_TRUE(testloop::waitFor([&] { return portal_->waitingCalls() == 1; }));
  EXPECT_TRUE(input().key(KEY_B, true, {}));
  EXPECT_TRUE(input().moveTo(1, 0.5, 0.5));
  input().button(PointerButton::left, true);
  input().releaseAll();
  testloop::drain();
  portal_->proceed();
  ASSERT_TRUE(testloop::waitFor([&] { return portal_->notified.size() >= 4; }));
  testloop::drain();
  EXPECT_EQ(portal_->notified, (QStringList{u"NotifyKeyboardKeycode(30, 1)"_s, u"NotifyPointerButton(272, 0)"_s,
                                            u"NotifyKeyboardKeycode(30, 0)"_s, u"NotifyKeyboardKeycode(48, 0)"_s}));
}

TEST_F(PortalInputTest, theNewestPositionReplacesThoseThatWait) {
  for (int i = 0; i < 1'000; ++i) EXPECT_TRUE(input().moveTo(1, i / 1'000.0, 0));
  ASSERT_TRUE(
      testloop::waitFor([&] { return portal_->notified.contains(u"NotifyPointerMotionAbsolute(42, 999, 0)"_s); }));
  EXPECT_LE(portal_->notified.size(), 2);
}

// A text that is pasted waits for the keys before it, not for a pointer that moves all the time.
TEST_F(PortalInputTest, keysAreDeliveredAlthoughThePointerMoves) {
  const Environment environment([this](const char* name) -> std::optional<QString> {
    return qstrcmp(name, "XDG_STATE_HOME") == 0 ? std::optional(state_.path()) : std::nullopt;
  });
  PortalSession session(address(), RestoreTokens(environment), [] {});
  session.start();
  ASSERT_TRUE(testloop::waitFor([&] { return session.state() == PortalSession::State::granted; }));
  NotifyCalls events(session);
  portal_->stopped = true;
  EXPECT_TRUE(events.moveTo(42, {1, 1}, {}));
  EXPECT_TRUE(events.moveTo(42, {2, 2}, {}));
  EXPECT_TRUE(events.delivered());
  EXPECT_TRUE(events.pressKey(KEY_A));
  events.releaseKey(KEY_A);
  EXPECT_TRUE(events.moveTo(42, {3, 3}, {}));
  EXPECT_FALSE(events.delivered());
  portal_->proceed();
  ASSERT_TRUE(testloop::waitFor([&] { return portal_->notified.size() == 5; }));
  EXPECT_TRUE(testloop::waitFor([&] { return events.delivered(); }));
}

class ScaledPortalInputTest : public PortalInputTest {
 protected:
  void SetUp() override {
    portal_->streams = {{.node = 42, .position = QPoint(0, 0), .size = QSize(800, 600)}};
    PortalInputTest::SetUp();
    access_->reportFrameSize(42, QSize(1600, 1200));
    ASSERT_TRUE(testloop::waitFor([&] { return desktop_->displays().list().front().scale == 2; }));
  }
  void showPointer(int x, int y) {
    access_->reportCursor({.node = 42, .visible = true, .position = QPoint(x, y)});
    testloop::drain();
  }
};

TEST_F(ScaledPortalInputTest, countsPositionsInLayoutUnits) {
  EXPECT_TRUE(input().moveTo(1, 1, 0.5));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 799.5, 300)"_s}));
  showPointer(1599, 600);
  EXPECT_TRUE(input().moveTo(1, 0.5, 0.5));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 400, 300)"_s}));
  showPointer(800, 600);
  EXPECT_TRUE(input().moveTo(1, 0.25, 0.5));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 200, 300)"_s}));
  showPointer(200, 300);
  EXPECT_TRUE(input().moveTo(1, 0.125, 0.5));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 100, 300)"_s}));
  showPointer(100, 300);
  EXPECT_TRUE(input().moveTo(1, 1, 0.5));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 799.5, 300)"_s})) << "known by then";
}

TEST_F(ScaledPortalInputTest, noticesACompositorThatTakesThemForPixels) {
  EXPECT_TRUE(input().moveTo(1, 0.5, 0.75));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 400, 450)"_s}));
  showPointer(17, 4);
  showPointer(400, 450);
  showPointer(400, 450);
  EXPECT_TRUE(portal_->notified.isEmpty()) << "it may have been there before";
  EXPECT_TRUE(input().moveTo(1, 0.75, 0.75));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 600, 450)"_s}));
  showPointer(600, 450);
  EXPECT_EQ(calls(2),
            (QStringList{u"NotifyPointerMotionAbsolute(42, 799, 599)"_s, u"NotifyPointerMotion(200.5, 150.5)"_s}));
  EXPECT_TRUE(input().moveTo(1, 0.25, 0.25));
  EXPECT_EQ(calls(1), (QStringList{u"NotifyPointerMotionAbsolute(42, 400, 300)"_s}));
}

// Positions never overtake what was done at them.
TEST_F(PortalInputTest, keepsTheOrderOfMotionsAndClicks) {
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(input().moveTo(1, i / 1'000.0, 0));
  input().button(PointerButton::left, true);
  EXPECT_TRUE(input().moveTo(1, 0.5, 0));
  input().button(PointerButton::left, false);
  ASSERT_TRUE(testloop::waitFor([&] { return portal_->notified.contains(u"NotifyPointerButton(272, 0)"_s); }));
  const qsizetype last = portal_->notified.size();
  EXPECT_EQ(portal_->notified.mid(last - 4),
            (QStringList{u"NotifyPointerMotionAbsolute(42, 99, 0)"_s, u"NotifyPointerButton(272, 1)"_s,
                         u"NotifyPointerMotionAbsolute(42, 500, 0)"_s, u"NotifyPointerButton(272, 0)"_s}));
}

}  // namespace
}  // namespace vantora
