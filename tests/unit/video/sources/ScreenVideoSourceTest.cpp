#include "main/video/sources/FrameSource.h"
#include "main/video/sources/ScreenVideoSource.h"
#include "rtc_base/time_utils.h"
#include "tests/unit/video/sources/ScreenSourceFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace testsupport;

TEST_F(ScreenVideoSourceTest, clampsTheRateAndTheDisplayIndex) {
  const auto slow = make(64, 48, 0, -3);
  EXPECT_EQ(slow->fps(), 1);
  EXPECT_EQ(slow->displayIndex(), 0);
  EXPECT_EQ(slow->lastCaptureWallNs(), 0);
  EXPECT_EQ(make(64, 48, 240)->fps(), 120);
}

TEST_F(ScreenVideoSourceTest, asksForTheFormatOfItsFrames) {
  const auto source = make(1280, 720, 240);
  EXPECT_EQ(static_cast<FrameSource*>(source->native())->outputFormat(), (FrameSource::Format{1280, 720, 120}));
}

TEST_F(ScreenVideoSourceTest, opensNothingBeforeTheStart) {
  const auto source = make(64, 48, 30);
  pumpFor(30ms);
  EXPECT_EQ(screen->opens(), 0);
}

TEST_F(ScreenVideoSourceTest, logsTheStartAndTheSizeOfTheFirstFrame) {
  const auto source = make(64, 48, 30);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  EXPECT_EQ(log.lines(),
            (QStringList{u"[sc] Video capture started at 64x48@30 displayIndex=0"_s, u"[sc] frame size now 64x48"_s}));
  EXPECT_TRUE(permissions.isEmpty());
}

TEST_F(ScreenVideoSourceTest, logsTheSizeAgainOnlyWhenItChanges) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  screen->paint(kWhite);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0 && sink.last().luma == kWhiteLuma; }));
  EXPECT_EQ(log.count(u"[sc] frame size now"), 1);
  bool ended = false;
  source->reconfigure(32, 24, 60, [&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return ended && sink.last().width == 32; }));
  EXPECT_EQ(log.lines().last(), u"[sc] frame size now 32x24"_s);
  EXPECT_EQ(log.count(u"[sc] frame size now"), 2);
}

TEST_F(ScreenVideoSourceTest, reportsARefusalOnceAnAttempt) {
  screen->refuseWith(u"not today"_s);
  const auto source = make(64, 48, 30);
  ASSERT_TRUE(start(*source));
  EXPECT_EQ(log.lines(), refusalLines());
  EXPECT_EQ(permissions, QStringList{u"screen_recording"_s});
  ASSERT_TRUE(start(*source));
  EXPECT_EQ(log.lines(), refusalLines() + refusalLines());
  EXPECT_EQ(permissions.size(), 2);
}

TEST_F(ScreenVideoSourceTest, doesNotTryAgainByItselfAfterARefusal) {
  screen->refuseWith(u"not today"_s);
  const auto source = make(64, 48, 30);
  ASSERT_TRUE(start(*source));
  screen->refuseWith({});
  pumpFor(1300ms);
  EXPECT_EQ(screen->opens(), 1);
}

TEST_F(ScreenVideoSourceTest, startsAfterARefusalWhenAskedAgain) {
  screen->refuseWith(u"not today"_s);
  const auto source = make(64, 48, 30);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  screen->refuseWith({});
  bool ended = false;
  source->reconfigure(32, 24, 30, [&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return ended && sink.count() > 0; }));
  EXPECT_EQ(permissions.size(), 1);
}

TEST_F(ScreenVideoSourceTest, treatsADisplayThatCannotBeReadAsARefusal) {
  screen->setUnreadable(true);
  const auto source = make(64, 48, 30);
  ASSERT_TRUE(start(*source));
  ASSERT_EQ(log.lines().size(), 3);
  EXPECT_EQ(log.lines().mid(1), refusalLines().mid(1));
  EXPECT_TRUE(log.lines().first().startsWith(u"[sc] start error: "_s));
  EXPECT_EQ(permissions, QStringList{u"screen_recording"_s});
}

TEST_F(ScreenVideoSourceTest, worksWithoutCallbacks) {
  screen->refuseWith(u"not today"_s);
  ScreenVideoSource source(screen->factory(), 64, 48, 30, 0, {});
  FrameSink sink(source.native());
  ASSERT_TRUE(start(source));
  EXPECT_EQ(log.lines(), refusalLines());
  screen->refuseWith({});
  ASSERT_TRUE(start(source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  const std::size_t before = sink.count();
  screen->setDisplays({{32, 32}});
  EXPECT_TRUE(pumpUntil([&] { return sink.count() > before; }));
}

TEST_F(ScreenVideoSourceTest, saysThatThereIsNoDisplayWithoutBlamingAPermission) {
  screen->setDisplays({});
  const auto source = make(64, 48, 30);
  ASSERT_TRUE(start(*source));
  EXPECT_EQ(log.lines(), QStringList{u"[sc] no display found"_s});
  EXPECT_TRUE(permissions.isEmpty());
}

TEST_F(ScreenVideoSourceTest, capturesTheLastDisplayForAnIndexBeyondIt) {
  screen->setDisplays({{64, 48}, {32, 32}});
  const auto source = make(16, 16, 30, 3);
  ASSERT_TRUE(start(*source));
  EXPECT_EQ(log.lines().first(), u"[sc] Video capture started at 16x16@30 displayIndex=1"_s);
}

TEST_F(ScreenVideoSourceTest, reportsThatTheDisplayHasAnotherSize) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  screen->paint(kWhite);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0 && sink.last().luma == kWhiteLuma; }));
  EXPECT_EQ(resizes, 0);
  screen->setDisplays({{48, 64}});
  ASSERT_TRUE(pumpUntil([&] { return resizes == 1; }));
  screen->paint(kBlack);
  ASSERT_TRUE(pumpUntil([&] { return sink.last().luma != kWhiteLuma; }));
  EXPECT_EQ(resizes, 1);
}

// The new settings were still chosen for the old size.
TEST_F(ScreenVideoSourceTest, reportsASizeThatChangedTogetherWithTheSettings) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  source->stop();
  screen->setDisplays({{48, 64}});
  source->reconfigure(64, 48, 30, {});
  ASSERT_TRUE(pumpUntil([&] { return resizes == 1; }));
}

TEST_F(ScreenVideoSourceTest, reportsNothingAboutTheSizeOfADisplayThatWasAskedFor) {
  screen->setDisplays({{64, 48}, {32, 32}});
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  bool ended = false;
  source->setDisplayIndex(1, [&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return ended; }));
  const std::size_t before = sink.count();
  screen->paint(kWhite);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > before; }));
  EXPECT_EQ(resizes, 0);
}

TEST_F(ScreenVideoSourceTest, movesToAnotherDisplay) {
  screen->setDisplays({{64, 48}, {32, 32}});
  const auto source = make(64, 48, 30);
  ASSERT_TRUE(start(*source));
  bool ended = false;
  source->setDisplayIndex(1, [&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return ended; }));
  EXPECT_EQ(source->displayIndex(), 1);
  EXPECT_EQ(log.count(u"[sc] Video capture started at 64x48@30 displayIndex=1"), 1);
  source->setDisplayIndex(-4, {});
  EXPECT_EQ(source->displayIndex(), 0);
}

TEST_F(ScreenVideoSourceTest, sendsFramesOfTheRequestedSizeFromItsOwnThread) {
  screen->paint(kWhite);
  const auto source = make(101, 35, 30);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  EXPECT_EQ(sink.last().width, 101);
  EXPECT_EQ(sink.last().height, 35);
  EXPECT_EQ(sink.last().luma, kWhiteLuma);
  EXPECT_EQ(sink.last().thread, screen->pollThread());
  EXPECT_NE(sink.last().thread, std::this_thread::get_id());
}

TEST_F(ScreenVideoSourceTest, keepsTheFramesSizeWhenTheDisplayChangesIts) {
  const auto source = make(40, 30, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  screen->setDisplays({{80, 61}});
  screen->paint(kWhite);
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0 && sink.last().luma == kWhiteLuma; }));
  for (const auto& frame : sink.frames()) {
    EXPECT_EQ(frame.width, 40);
    EXPECT_EQ(frame.height, 30);
  }
  EXPECT_EQ(log.count(u"[sc] frame size now"), 1);
}

TEST_F(ScreenVideoSourceTest, boundsRequestsThatNoMachineCouldServe) {
  const auto source = make(64, 48, 30);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  source->reconfigure(-1, 0, 9999, {});
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0 && sink.last().width == 16; }));
  EXPECT_EQ(sink.last().height, 16);
  EXPECT_EQ(source->width(), -1);
  EXPECT_EQ(source->fps(), 120);
}

TEST_F(ScreenVideoSourceTest, stampsFramesWithTheLibrarysClockAndReportsTheWallClock) {
  const auto wall = [] {
    return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
  };
  const std::int64_t beforeUs = rtc::TimeMicros();
  const std::int64_t beforeNs = wall();
  const auto source = make(64, 48, 30);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  EXPECT_GE(sink.frames().front().timestampUs, beforeUs);
  EXPECT_LE(sink.frames().front().timestampUs, rtc::TimeMicros());
  EXPECT_GE(source->lastCaptureWallNs(), beforeNs);
  EXPECT_LE(source->lastCaptureWallNs(), wall());
}

TEST_F(ScreenVideoSourceTest, repeatsAStillFrameWithoutReadingTheDisplay) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  ASSERT_TRUE(pumpUntil([&] { return sink.count() >= 7; }));
  EXPECT_EQ(screen->reads(), 1);
  for (const auto& frame : sink.frames()) EXPECT_EQ(frame.buffer, sink.last().buffer);
}

TEST_F(ScreenVideoSourceTest, sendsNothingForAChangeThatDoesNotShow) {
  const auto source = make(64, 48, 60);
  ASSERT_TRUE(start(*source));
  const int polls = screen->polls();
  screen->touch();
  ASSERT_TRUE(pumpUntil([&] { return screen->polls() > polls; }));
  EXPECT_EQ(screen->reads(), 1);
}

TEST_F(ScreenVideoSourceTest, pollsAgainWhenThereWasNoFrameYet) {
  screen->setNotReady(3);
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  EXPECT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  EXPECT_TRUE(permissions.isEmpty());
}

TEST_F(ScreenVideoSourceTest, holdsARushOfChangesToTheRate) {
  const auto source = make(64, 48, 25);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  bool white = false;
  const auto begin = std::chrono::steady_clock::now();
  const std::size_t before = sink.count();
  while (std::chrono::steady_clock::now() - begin < 1s) {
    screen->paint(white ? kWhite : kBlack);
    white = !white;
    pump();
  }
  // Counted before the time is read: more frames may arrive in between.
  const auto frames = static_cast<double>(sink.count() - before);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  // Never faster; slower only as far as a busy machine makes it.
  EXPECT_LE(frames, 25 * seconds + 3);
  EXPECT_GE(frames, 3 * seconds);
}

TEST_F(ScreenVideoSourceTest, sendsTheFrameAgainForAViewer) {
  const auto source = make(64, 48, 60);
  FrameSink sink(source->native());
  ASSERT_TRUE(start(*source));
  // The sharpening is over; the next repeat would be a second away.
  ASSERT_TRUE(pumpUntil([&] { return sink.count() >= 6; }));
  source->refresh();
  ASSERT_TRUE(pumpUntil([&] { return sink.count() >= 7; }));
  EXPECT_LT(sink.frames()[6].arrived - sink.frames()[5].arrived, 900ms);
  EXPECT_EQ(screen->reads(), 1);
}

TEST_F(ScreenVideoSourceTest, sendsTheFrameToASinkThatComesLater) {
  const auto source = make(64, 48, 60);
  ASSERT_TRUE(start(*source));
  pumpFor(700ms);
  const auto came = std::chrono::steady_clock::now();
  FrameSink sink(source->native());
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  // The next repeat would come later.
  EXPECT_LT(sink.frames()[0].arrived - came, 600ms);
}

}  // namespace
}  // namespace vantora
