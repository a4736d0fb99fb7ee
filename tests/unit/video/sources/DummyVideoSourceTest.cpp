#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include "main/video/sources/DummyVideoSource.h"
#include "main/video/sources/FrameSource.h"
#include "rtc_base/time_utils.h"
#include "tests/unit/video/sources/SourceTesting.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using namespace std::chrono_literals;
using testsupport::FrameSink;
using testsupport::LockedLog;
using testsupport::pumpFor;
using testsupport::pumpUntil;

using DummyVideoSourceTest = testsupport::MainThreadTest;

FrameSource::Format formatOf(DummyVideoSource& source) {
  return static_cast<FrameSource*>(source.native())->outputFormat();
}

int generatorThreads() {
  int count = 0;
  const QDir tasks(u"/proc/self/task"_s);
  for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
    QFile name(tasks.filePath(task + u"/comm"_s));
    if (name.open(QIODevice::ReadOnly) && name.readAll().trimmed() == "video-gen") ++count;
  }
  return count;
}

TEST_F(DummyVideoSourceTest, clampsTheRate) {
  const Environment none = Environment::of({});
  EXPECT_EQ(DummyVideoSource(0, 640, 480, none).fps(), 1);
  EXPECT_EQ(DummyVideoSource(-7, 640, 480, none).fps(), 1);
  EXPECT_EQ(DummyVideoSource(500, 640, 480, none).fps(), 120);
  EXPECT_EQ(DummyVideoSource(30, 640, 480, none).fps(), 30);
}

TEST_F(DummyVideoSourceTest, clampsTheSizeOfItsFramesButNotTheRequest) {
  const Environment none = Environment::of({});
  DummyVideoSource narrow(500, 8, 8, none);
  EXPECT_EQ(narrow.width(), 16);
  EXPECT_EQ(narrow.height(), 16);
  EXPECT_EQ(formatOf(narrow), (FrameSource::Format{8, 8, 120}));
  DummyVideoSource wide(30, 4000, 3000, none);
  EXPECT_EQ(wide.width(), 3840);
  EXPECT_EQ(wide.height(), 2160);
  EXPECT_EQ(formatOf(wide), (FrameSource::Format{4000, 3000, 30}));
}

TEST_F(DummyVideoSourceTest, makesFramesOfTheClampedSizeThatAreCroppedToTheRequest) {
  DummyVideoSource source(30, 8, 720, Environment::of({}));
  FrameSink sink(source.native());
  source.start();
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  webrtc::VideoTrackSourceInterface::Stats stats{};
  ASSERT_TRUE(source.native()->GetStats(&stats));
  EXPECT_EQ(stats.input_width, 16);
  EXPECT_EQ(stats.input_height, 720);
  EXPECT_EQ(sink.last().width, 8);
  EXPECT_EQ(sink.last().height, 720);
}

TEST_F(DummyVideoSourceTest, makesNoFrameBeforeTheStart) {
  DummyVideoSource source(120, 64, 64, Environment::of({}));
  FrameSink sink(source.native());
  pumpFor(50ms);
  EXPECT_EQ(sink.count(), 0u);
  EXPECT_EQ(source.framesSent(), 0);
}

TEST_F(DummyVideoSourceTest, sendsFramesAtItsRateWithTimestampsOfTheLibrarysClock) {
  DummyVideoSource source(50, 1280, 720, Environment::of({}));
  FrameSink sink(source.native());
  const std::int64_t before = rtc::TimeMicros();
  source.start();
  ASSERT_TRUE(pumpUntil([&] { return sink.count() >= 51; }));
  // Never faster; on a busy machine slower for a while.
  auto frames = sink.frames();
  EXPECT_GE(std::chrono::duration<double>(frames[50].arrived - frames[0].arrived).count(), 0.9);
  EXPECT_TRUE(pumpUntil([&] {
    frames = sink.frames();
    return frames.back().arrived - frames[frames.size() - 51].arrived < 1500ms;
  }));
  for (std::size_t i = 1; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].width, 1280);
    EXPECT_EQ(frames[i].height, 720);
    EXPECT_GT(frames[i].timestampUs, frames[i - 1].timestampUs);
  }
  EXPECT_GT(frames[0].timestampUs, before - 1000);
  EXPECT_LE(frames.back().timestampUs, rtc::TimeMicros());
}

TEST_F(DummyVideoSourceTest, countsItsFrames) {
  DummyVideoSource source(120, 64, 64, Environment::of({}));
  source.start();
  EXPECT_TRUE(pumpUntil([&] { return source.framesSent() >= 10; }));
}

TEST_F(DummyVideoSourceTest, countsNoFrameThatNobodyWouldSee) {
  DummyVideoSource source(120, 64, 64, Environment::of({}));
  source.setActive(false);
  source.start();
  pumpFor(100ms);
  EXPECT_EQ(source.framesSent(), 0);
  source.setActive(true);
  EXPECT_TRUE(pumpUntil([&] { return source.framesSent() > 0; }));
}

TEST_F(DummyVideoSourceTest, makesNoFrameWhileTheTrackIsAnothers) {
  LockedLog log;
  DummyVideoSource source(120, 64, 64, Environment::of({{"DUMMY_DEBUG", "1"}}));
  FrameSink sink(source.native());
  source.setOnTrack(false);
  source.start();
  // It still reports, a whole second without a frame.
  ASSERT_TRUE(pumpUntil([&] { return log.count(u"sent fps: 0 (64x64)") > 0; }));
  EXPECT_EQ(sink.count(), 0U);
  source.setOnTrack(true);
  EXPECT_TRUE(pumpUntil([&] { return sink.count() > 0 && source.framesSent() > 0; }));
}

TEST_F(DummyVideoSourceTest, hasOneGeneratorAfterTwoStarts) {
  DummyVideoSource source(60, 64, 64, Environment::of({}));
  source.start();
  source.start();
  ASSERT_TRUE(pumpUntil([&] { return source.framesSent() > 2; }));
  // One that has ended and was waited for can be in the list for a moment.
  EXPECT_TRUE(pumpUntil([] { return generatorThreads() == 1; }));
  source.stop();
  EXPECT_TRUE(pumpUntil([] { return generatorThreads() == 0; }));
}

TEST_F(DummyVideoSourceTest, sendsNothingAfterTheStopAndAgainAfterAnotherStart) {
  DummyVideoSource source(120, 64, 64, Environment::of({}));
  FrameSink sink(source.native());
  source.start();
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 2; }));
  source.stop();
  const std::size_t frames = sink.count();
  const std::int64_t sent = source.framesSent();
  pumpFor(100ms);
  EXPECT_EQ(sink.count(), frames);
  EXPECT_EQ(source.framesSent(), sent);
  source.start();
  EXPECT_TRUE(pumpUntil([&] { return sink.count() > frames + 2; }));
}

TEST_F(DummyVideoSourceTest, stopsWithoutAStart) {
  DummyVideoSource source(120, 64, 64, Environment::of({}));
  source.stop();
  EXPECT_EQ(source.framesSent(), 0);
}

TEST_F(DummyVideoSourceTest, reportsItsRateOnceASecondWhenAskedTo) {
  LockedLog log;
  DummyVideoSource source(15, 1280, 720, Environment::of({{"DUMMY_DEBUG", "1"}}));
  const auto begin = std::chrono::steady_clock::now();
  source.start();
  // A second in which the machine was too busy has fewer frames.
  ASSERT_TRUE(pumpUntil([&] { return log.count(u"sent fps: 15 (1280x720)") >= 2; }));
  source.stop();
  const auto passed = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(passed, log.lines().size() * 1s);
  EXPECT_EQ(log.count(u"sent fps: "), log.lines().size());
}

TEST_F(DummyVideoSourceTest, reportsItsRateWithoutAViewerToo) {
  LockedLog log;
  DummyVideoSource source(15, 64, 64, Environment::of({{"DUMMY_DEBUG", "1"}}));
  FrameSink sink(source.native());
  source.setActive(false);
  source.start();
  EXPECT_TRUE(pumpUntil([&] { return log.count(u"sent fps: 15 (64x64)") > 0; }));
  EXPECT_EQ(sink.count(), 0U);
}

TEST_F(DummyVideoSourceTest, reportsNothingUnlessAskedTo) {
  LockedLog log;
  DummyVideoSource unset(60, 64, 64, Environment::of({}));
  DummyVideoSource zero(60, 64, 64, Environment::of({{"DUMMY_DEBUG", "0"}}));
  DummyVideoSource word(60, 64, 64, Environment::of({{"DUMMY_DEBUG", "true"}}));
  for (DummyVideoSource* source : {&unset, &zero, &word}) source->start();
  ASSERT_TRUE(pumpUntil([&] { return unset.framesSent() > 66 && zero.framesSent() > 66 && word.framesSent() > 66; }));
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(DummyVideoSourceTest, isOutlivedByTheLibrarysSource) {
  auto source = std::make_unique<DummyVideoSource>(60, 64, 64, Environment::of({}));
  FrameSink sink(source->native());
  source->start();
  ASSERT_TRUE(pumpUntil([&] { return sink.count() > 0; }));
  source.reset();
  EXPECT_TRUE(pumpUntil([] { return generatorThreads() == 0; }));
  sink.want({});
}

}  // namespace
}  // namespace vantora
