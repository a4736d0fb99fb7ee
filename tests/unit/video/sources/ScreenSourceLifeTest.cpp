// The life cycle of a screen source: pauses, stops, other settings, a lost display.
#include <utility>

#include "tests/unit/video/sources/ScreenSourceFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace testsupport;

using ScreenSourceLifeTest = ScreenVideoSourceTest;

TEST_F(ScreenSourceLifeTest, readsNothingWhileInactiveButTheFirstFrame) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  source->setActive(false);
  ASSERT_TRUE(start(*source));
  EXPECT_EQ(log.count(u"[sc] frame size now 64x48"), 1);
  EXPECT_GT(source->lastCaptureWallNs(), 0);
  const int polls = screen->polls();
  screen->paint(kWhite);
  pumpFor(200ms);
  EXPECT_EQ(screen->polls(), polls);
  EXPECT_EQ(sink.count(), 0u);
}

TEST_F(ScreenSourceLifeTest, reportsARefusalWhileInactive) {
  screen->refuseWith(u"not today"_s);
  const auto source = make(64, 48, 60);
  source->setActive(false);
  ASSERT_TRUE(start(*source));
  EXPECT_EQ(permissions.size(), 1);
}

TEST_F(ScreenSourceLifeTest, sendsANewFrameAtOnceWhenItBecomesActive) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  source->setActive(false);
  ASSERT_TRUE(start(*source));
  screen->paint(kWhite);
  source->setActive(true);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  EXPECT_EQ(sink.frames()[0].luma, kWhiteLuma);
}

TEST_F(ScreenSourceLifeTest, sendsTheOldFrameAtOnceWhenNothingChangedWhileInactive) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  source->setActive(false);
  ASSERT_TRUE(start(*source));
  source->setActive(true);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  EXPECT_EQ(screen->reads(), 1);
}

TEST_F(ScreenSourceLifeTest, sendsNothingAfterTheStop) {
  const auto source = make(64, 48, 120);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  source->stop();
  const std::size_t frames = sink.count();
  screen->paint(kWhite);
  source->refresh();
  ASSERT_TRUE(pumpUntil([&] { return screen->closes() == 1; }));
  pumpFor(50ms);
  EXPECT_EQ(sink.count(), frames);
  ASSERT_TRUE(start(*source));
  EXPECT_TRUE(pumpUntil([&] { return sink.count() > frames; }));
}

TEST_F(ScreenSourceLifeTest, beginsOnceThePersonHasConsented) {
  screen->setPrompting(true);
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  bool ended = false;
  source->start([&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() == 1; }));
  pumpFor(50ms);
  EXPECT_FALSE(ended);
  EXPECT_TRUE(log.lines().isEmpty() && permissions.isEmpty());
  EXPECT_EQ(sink.count(), 0U);
  screen->setPrompting(false);
  ASSERT_TRUE(pumpUntil([&] { return ended && sink.count() > 0; }));
  EXPECT_EQ(screen->opens(), 2);
}

TEST_F(ScreenSourceLifeTest, isRefusedByAPersonWhoSaysNo) {
  screen->setPrompting(true);
  screen->refuseWith(QStringLiteral("not today"));
  const auto source = make(64, 48, 60);
  bool ended = false;
  source->start([&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() == 1; }));
  screen->setPrompting(false);
  ASSERT_TRUE(pumpUntil([&] { return ended && !permissions.isEmpty(); }));
  EXPECT_EQ(log.lines(), testsupport::refusalLines());
}

TEST_F(ScreenSourceLifeTest, forgetsTheQuestionWhenItIsStopped) {
  screen->setPrompting(true);
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  int ended = 0;
  source->start([&] { ++ended; });
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() == 1; }));
  source->stop();
  ASSERT_TRUE(pumpUntil([&] { return ended == 1; }));
  screen->setPrompting(false);
  pumpFor(50ms);
  EXPECT_EQ(screen->opens(), 1);
  EXPECT_EQ(sink.count(), 0U);
  source->start([&] { ++ended; });
  ASSERT_TRUE(pumpUntil([&] { return ended == 2 && sink.count() > 0; }));
}

TEST_F(ScreenSourceLifeTest, asksOnceForTheNewestSettings) {
  screen->setPrompting(true);
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  int ended = 0;
  source->start([&] { ++ended; });
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() == 1; }));
  source->reconfigure(32, 24, 60, [&] { ++ended; });
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() == 2; }));
  pumpFor(50ms);
  EXPECT_EQ(ended, 0) << "both wait for the same decision";
  screen->setPrompting(false);
  ASSERT_TRUE(pumpUntil([&] { return ended == 2 && sink.count() > 0; }));
  EXPECT_EQ(sink.frames()[0].width, 32);
  EXPECT_EQ(log.count(u"[sc] Video capture started"), 1);
}

TEST_F(ScreenSourceLifeTest, keepsTheDisplayOpenForOtherSettings) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  for (const int width : {32, 64}) {
    bool ended = false;
    source->reconfigure(width, 48, 30, [&] { ended = true; });
    ASSERT_TRUE(pumpUntil([&] { return ended && sink.count() > 0 && sink.last().width == width; }));
  }
  EXPECT_EQ(screen->closes(), 0);
}

TEST_F(ScreenSourceLifeTest, waitsForThePersonWhenADisplayComesBack) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  screen->setGone(true);
  ASSERT_TRUE(pumpUntil([&] { return screen->closes() == 1; }));
  screen->setPrompting(true);
  screen->setGone(false);
  const int before = screen->opens();
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() > before; }));
  const int asked = screen->opens();
  pumpFor(1100ms);
  EXPECT_EQ(screen->opens(), asked) << "each opening may be a question";
  const QStringList lines = log.lines();
  const std::size_t frames = sink.count();
  screen->setPrompting(false);
  EXPECT_TRUE(pumpUntil([&] { return sink.count() > frames; }));
  EXPECT_EQ(screen->opens(), asked + 1);
  EXPECT_EQ(log.lines(), lines);
}

TEST_F(ScreenSourceLifeTest, endsWhenThePersonRefusesADisplayThatComesBack) {
  const auto source = make(64, 48, 60);
  ASSERT_TRUE(start(*source));
  screen->setPrompting(true);
  screen->setGone(true);
  ASSERT_TRUE(pumpUntil([&] { return screen->closes() == 1 && screen->opens() == 2; }));
  screen->refuseWith(u"not today"_s);
  screen->setPrompting(false);
  ASSERT_TRUE(pumpUntil([&] { return permissions.size() == 1; }));
  EXPECT_EQ(log.count(u"[sc] start error: not today"), 1);
  const int opens = screen->opens();
  pumpFor(1100ms);
  EXPECT_EQ(screen->opens(), opens);
}

TEST_F(ScreenSourceLifeTest, endsWhileThePersonIsAsked) {
  screen->setPrompting(true);
  auto source = make(64, 48, 60);
  source->start([] { FAIL(); });
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() == 1; }));
  source.reset();
  pumpFor(10ms);
}

TEST_F(ScreenSourceLifeTest, endsWhileTheDisplaySaysNothing) {
  auto source = make(64, 48, 60);
  ASSERT_TRUE(start(*source));
  screen->setSilent(true);
  const int polls = screen->polls();
  screen->paint(kWhite);
  ASSERT_TRUE(pumpUntil([&] { return screen->polls() > polls; }));
  source.reset();
  EXPECT_EQ(screen->closes(), 1);
}

TEST_F(ScreenSourceLifeTest, sendsNoFrameOfTheOldSizeAfterAReconfiguration) {
  const auto source = make(64, 48, 120);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  for (int round = 0; round < 20; ++round) {
    const int width = round % 2 == 0 ? 32 : 64;
    screen->paint(kWhite);
    const std::size_t before = sink.count();
    source->reconfigure(width, 48, 120, {});
    ASSERT_TRUE(pumpUntil([&] { return sink.count() > before; }));
    const auto frames = sink.frames();
    for (std::size_t i = before + 1; i < frames.size(); ++i) EXPECT_EQ(frames[i].width, width);
  }
}

TEST_F(ScreenSourceLifeTest, callsEveryDoneOfStartsInQuickSuccession) {
  const auto source = make(64, 48, 30);
  int ended = 0;
  for (int i = 0; i < 100; ++i) source->reconfigure(32 + i, 48, 30, [&] { ++ended; });
  source->stop();
  ASSERT_TRUE(pumpUntil([&] { return ended == 100; }));
}

TEST_F(ScreenSourceLifeTest, callsNothingAfterItsDestruction) {
  screen->refuseWith(u"not today"_s);
  auto source = make(64, 48, 30);
  bool ended = false;
  source->start([&] { ended = true; });
  // Without handling events, until the capture thread has posted its callbacks.
  testloop::Timeout timeout;
  while (log.lines().size() < 3 && !timeout.isOver()) std::this_thread::yield();
  ASSERT_EQ(log.lines().size(), 3);
  source.reset();
  pumpFor(50ms);
  EXPECT_FALSE(ended);
  EXPECT_TRUE(permissions.isEmpty());
}

TEST_F(ScreenSourceLifeTest, showsADisplayThatComesBackWithoutALogLine) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  const QStringList lines = log.lines();
  screen->setGone(true);
  ASSERT_TRUE(pumpUntil([&] { return screen->closes() == 1; }));
  const std::size_t frames = sink.count();
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() >= 3; }));
  EXPECT_EQ(sink.count(), frames);
  screen->paint(kWhite);
  screen->setGone(false);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > frames; }));
  EXPECT_EQ(sink.last().luma, kWhiteLuma);
  EXPECT_EQ(log.lines(), lines);
  EXPECT_TRUE(permissions.isEmpty());
}

TEST_F(ScreenSourceLifeTest, searchesForALostDisplayOnceASecond) {
  const auto source = make(64, 48, 60);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(start(*source));
  screen->setGone(true);
  int opens = screen->opens();
  auto last = begin;
  // Never more often; on a busy machine some may come late.
  ASSERT_TRUE(pumpUntil([&] {
    if (screen->opens() == opens) return false;
    ++opens;
    const auto now = std::chrono::steady_clock::now();
    return now - std::exchange(last, now) < 1500ms && opens >= 3;
  }));
  opens = screen->opens();
  EXPECT_LE(opens - 1, (std::chrono::steady_clock::now() - begin) / 1s);
}

TEST_F(ScreenSourceLifeTest, showsWhatChangedInAFrameThatCouldNotBeRead) {
  for (const auto& [width, height] : {std::pair{64, 48}, {32, 24}}) {
    const auto source = make(width, height, 60);
    FrameSink sink(source->native());
    ASSERT_TRUE(start(*source));
    ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
    const int reads = screen->reads();
    screen->setUnreadableFrames(1);
    screen->paint(kWhite, QRect(30, 20, 8, 8));
    ASSERT_TRUE(pumpUntil([&] { return screen->reads() > reads; }));
    screen->paint(kWhite, QRect(0, 0, 4, 4));
    ASSERT_TRUE(pumpUntil([&] { return sink.last().luma == kWhiteLuma; }));
    EXPECT_EQ(screen->closes(), 0) << "once is no loss";
    screen = fakes::FakeScreen::make({{64, 48}});
  }
}

TEST_F(ScreenSourceLifeTest, showsAFrameThatCouldNotBeReadAlsoWhenNothingElseChanges) {
  const auto source = make(64, 48, 120);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  screen->setUnreadableFrames(1);
  screen->paint(kWhite);
  EXPECT_TRUE(pumpUntil([&] { return sink.last().luma == kWhiteLuma; }));
}

TEST_F(ScreenSourceLifeTest, losesADisplayThatCannotBeReadAnyMore) {
  const auto source = make(64, 48, 120);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  const QStringList lines = log.lines();
  const int reads = screen->reads();
  const int polls = screen->polls();
  screen->setUnreadableFrames(1'000'000);
  ASSERT_TRUE(pumpUntil([&] {
    screen->paint(kBlack, QRect(0, 0, 4, 4));
    return screen->closes() >= 2;
  }));
  // Two displays lost after three attempts each. A poll without a further change counts as one and reads nothing.
  EXPECT_GE(screen->polls() - polls, 6);
  EXPECT_LE(screen->reads() - reads, 3 * screen->opens()) << "then it is opened again, a second later";
  const std::size_t frames = sink.count();
  screen->setUnreadableFrames(0);
  screen->paint(kWhite);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > frames; }));
  EXPECT_EQ(sink.last().luma, kWhiteLuma);
  EXPECT_EQ(log.lines(), lines);
  EXPECT_TRUE(permissions.isEmpty());
}

TEST_F(ScreenSourceLifeTest, givesEveryFrameBackOnce) {
  auto source = make(64, 48, 120);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  screen->setUnreadableFrames(3);
  ASSERT_TRUE(pumpUntil([&] {
    screen->paint(kBlack, QRect(0, 0, 4, 4));
    return screen->closes() > 0;
  }));
  ASSERT_TRUE(pumpUntil([&] { return screen->opens() > 1; })) << "read, not to be read, read again";
  const int reads = screen->reads();
  screen->paint(kWhite);
  ASSERT_TRUE(pumpUntil([&] { return screen->reads() > reads; }));
  source.reset();
  const std::vector<int> releases = screen->releases();
  EXPECT_GE(releases.size(), 5U);
  EXPECT_EQ(releases, std::vector<int>(releases.size(), 1));
}

TEST(CapturedFrame, isReleasedOnceHoweverItIsMoved) {
  int first = 0;
  int second = 0;
  {
    CapturedFrame frame([&] { ++first; });
    CapturedFrame moved(std::move(frame));
    EXPECT_EQ(first, 0);
    moved = CapturedFrame([&] { ++second; });
    EXPECT_EQ(first, 1) << "replaced";
    EXPECT_EQ(second, 0);
  }
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
}

TEST_F(ScreenSourceLifeTest, isOutlivedByTheLibrarysSource) {
  auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  source.reset();
  sink.want({});
  EXPECT_EQ(screen->closes(), 1);
}

}  // namespace
}  // namespace vantora
