// The screen source on a real X server.
#include <pthread.h>

#include <QDir>
#include <QFile>
#include <QSize>
#include <algorithm>
#include <cstdlib>

#include "main/video/sources/FramePacer.h"
#include "main/video/sources/ScreenVideoSource.h"
#include "platform/x11/capture/X11ScreenCapture.h"
#include "tests/unit/video/sources/SourceTesting.h"
#include "tests/x11/capture/ScreenPainter.h"
#include "tests/x11/support/XvfbServer.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using namespace std::chrono_literals;
using testsupport::FrameSink;
using testsupport::LockedLog;
using testsupport::pumpFor;
using testsupport::pumpUntil;
using testx11::ScreenPainter;
using testx11::XvfbServer;

constexpr std::uint32_t kBlack = 0x000000;
constexpr std::uint32_t kWhite = 0xffffff;
constexpr int kBlackLuma = 16;
constexpr int kWhiteLuma = 235;

ScreenCaptureFactory captureOf(const QString& display) {
  return [name = display.toStdString()] { return makeX11ScreenCapture(name); };
}

// Processor time that the capture thread has used so far.
std::chrono::nanoseconds captureThreadTime() {
  const QDir tasks(u"/proc/self/task"_s);
  for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
    QFile name(tasks.filePath(task + u"/comm"_s));
    QFile times(tasks.filePath(task + u"/schedstat"_s));
    if (!name.open(QIODevice::ReadOnly) || name.readAll().trimmed() != "screen-capture") continue;
    if (times.open(QIODevice::ReadOnly))
      return std::chrono::nanoseconds(times.readAll().split(' ').first().toLongLong());
  }
  return std::chrono::nanoseconds(-1);
}

class ScreenSharingTest : public testsupport::MainThreadTest {
 public:
  void SetUp() override { ASSERT_TRUE(server.running()); }

  void begin(int width, int height, int fps, int displayIndex = 0) {
    source = std::make_unique<ScreenVideoSource>(
        captureOf(server.display()), width, height, fps, displayIndex,
        ScreenEvents{.refused = [this](const QString& name) { permissions.append(name); },
                     .resized = [this] { ++resizes; }});
    sink = std::make_unique<FrameSink>(source->native());
    bool ended = false;
    source->start([&] { ended = true; });
    ASSERT_TRUE(pumpUntil([&] { return ended && sink->count() > 0; }));
  }
  [[nodiscard]] bool showsSoon(int luma) {
    // Scaling may be off by one.
    return pumpUntil([&] { return sink->count() > 0 && std::abs(sink->last().luma - luma) <= 1; });
  }

  XvfbServer server{1920, 1080};
  LockedLog log;
  QStringList permissions;
  int resizes = 0;
  std::unique_ptr<ScreenVideoSource> source;
  std::unique_ptr<FrameSink> sink;  // After the source: destroyed first.
};

TEST_F(ScreenSharingTest, showsTheScreenAtTheRequestedSize) {
  ScreenPainter painter(server.display());
  painter.fillAll(kWhite);
  begin(1280, 720, 60);
  ASSERT_TRUE(showsSoon(kWhiteLuma));
  EXPECT_EQ(sink->last().width, 1280);
  EXPECT_EQ(sink->last().height, 720);
  EXPECT_EQ(log.lines(), (QStringList{u"[sc] Video capture started at 1280x720@60 displayIndex=0"_s,
                                      u"[sc] frame size now 1280x720"_s}));
  bool ended = false;
  source->reconfigure(1920, 1080, 30, [&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return ended && sink->last().width == 1920; }));
  painter.fillAll(kBlack);
  EXPECT_TRUE(showsSoon(kBlackLuma));
}

TEST_F(ScreenSharingTest, keepsTheFramesSizeWhenTheScreenChangesIts) {
  ScreenPainter painter(server.display());
  begin(1280, 720, 60);
  ASSERT_TRUE(testx11::resizeScreen(server, 1000, 700));
  painter.fillAll(kWhite);
  ASSERT_TRUE(showsSoon(kWhiteLuma));
  for (const auto& frame : sink->frames()) EXPECT_EQ(QSize(frame.width, frame.height), QSize(1280, 720));
  EXPECT_TRUE(permissions.isEmpty());
  EXPECT_TRUE(pumpUntil([&] { return resizes == 1; })) << resizes;
}

TEST_F(ScreenSharingTest, sendsAChangeWithinFiveMilliseconds) {
  ScreenPainter painter(server.display());
  painter.fillAll(kBlack);
  begin(1920, 1080, 60);
  ASSERT_TRUE(showsSoon(kBlackLuma));
  std::vector<double> delays;
  for (int round = 0; round < 41; ++round) {
    // Waits for a pause: no frame for longer than the shortest interval, and no repeat due soon.
    const std::size_t before = sink->count();
    ASSERT_TRUE(pumpUntil([&] { return sink->count() > before; }));
    pumpFor(30ms);
    const bool white = round % 2 == 0;
    const auto changed = std::chrono::steady_clock::now();
    painter.fill(white ? kWhite : kBlack, 900, 500, 120, 80);
    ASSERT_TRUE(showsSoon(white ? kWhiteLuma : kBlackLuma));
    const auto frames = sink->frames();
    const auto first = std::find_if(frames.begin(), frames.end(), [&](const auto& frame) {
      return frame.arrived > changed && frame.luma == (white ? kWhiteLuma : kBlackLuma);
    });
    delays.push_back(std::chrono::duration<double, std::milli>(first->arrived - changed).count());
  }
  std::sort(delays.begin(), delays.end());
  RecordProperty("p50_ms", std::to_string(delays[delays.size() / 2]));
  RecordProperty("p95_ms", std::to_string(delays[delays.size() * 95 / 100]));
  std::printf("change to frame: p50 %.2f ms, p95 %.2f ms\n", delays[delays.size() / 2],
              delays[delays.size() * 95 / 100]);
  // On a machine with all processors busy each involved program waits for its time slice, but not in every attempt.
  EXPECT_LT(delays[delays.size() / 4], 5.0);
}

TEST_F(ScreenSharingTest, usesNextToNoProcessorTimeForAStillScreen) {
  begin(1920, 1080, 60);
  // The first frame and its repeats.
  ASSERT_TRUE(pumpUntil([&] { return sink->count() > FramePacer::kBurstLength + 1; }));
  const auto begin = std::chrono::steady_clock::now();
  const std::size_t frames = sink->count();
  const auto before = captureThreadTime();
  ASSERT_GE(before, 0ns);
  pumpFor(3s);
  const auto used = captureThreadTime() - before;
  std::printf("still screen: %.2f ms of processor time in 3 s\n",
              std::chrono::duration<double, std::milli>(used).count());
  EXPECT_LT(used, 15ms) << "half a percent";
  const std::size_t repeats = sink->count() - frames;
  EXPECT_GE(repeats, 2u);
  EXPECT_LE(repeats, static_cast<std::size_t>((std::chrono::steady_clock::now() - begin) / 1s) + 1);
}

TEST_F(ScreenSharingTest, showsTheMonitorThatIsChosen) {
  ASSERT_TRUE(server.splitIntoTwoMonitors(1280, 640, 1080));
  ScreenPainter painter(server.display());
  painter.fillAll(kBlack);
  painter.fill(kWhite, 1280, 0, 640, 1080);
  begin(640, 480, 60, 3);
  EXPECT_TRUE(showsSoon(kWhiteLuma));
  EXPECT_EQ(log.lines().first(), u"[sc] Video capture started at 640x480@60 displayIndex=1"_s);
  bool ended = false;
  source->setDisplayIndex(0, [&] { ended = true; });
  EXPECT_TRUE(pumpUntil([&] { return ended; }));
  EXPECT_TRUE(showsSoon(kBlackLuma));
}

TEST_F(ScreenSharingTest, waitsForAServerThatGoesAway) {
  begin(640, 360, 60);
  const QStringList lines = log.lines();
  server.kill();
  pumpFor(100ms);
  const std::size_t frames = sink->count();
  ASSERT_TRUE(server.restart());
  ScreenPainter painter(server.display());
  painter.fillAll(kWhite);
  EXPECT_TRUE(showsSoon(kWhiteLuma));
  EXPECT_GT(sink->count(), frames);
  EXPECT_EQ(log.lines(), lines);
  EXPECT_TRUE(permissions.isEmpty());
}

TEST_F(ScreenSharingTest, reportsAServerThatIsNotThereAsAMissingPermission) {
  ScreenVideoSource other(captureOf(u":54321"_s), 640, 360, 30, 0,
                          {.refused = [this](const QString& name) { permissions.append(name); }, .resized = {}});
  bool ended = false;
  other.start([&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return ended; }));
  EXPECT_EQ(log.lines(), (QStringList{u"[sc] start error: cannot open display \":54321\""_s,
                                      u"[sc] Required permissions in System Settings → Privacy & Security:"_s,
                                      u"[sc] - Screen Recording (for video capture)"_s}));
  EXPECT_EQ(permissions, QStringList{u"screen_recording"_s});
}

}  // namespace
}  // namespace vantora
