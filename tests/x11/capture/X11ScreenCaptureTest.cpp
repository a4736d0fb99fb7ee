#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/x11/capture/X11ScreenCapture.h"
#include "tests/x11/capture/ScreenPainter.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using testx11::ScreenPainter;
using testx11::XvfbServer;
using Poll = ScreenCapture::Poll;
using Outcome = ScreenCapture::Outcome;
using WakeOn = ScreenCapture::WakeOn;
using Woken = ScreenCapture::Woken;

constexpr std::uint32_t kBlue = 0x204060;
constexpr std::uint32_t kRed = 0xc01020;

std::uint32_t colourAt(const CapturedFrame& frame, int x, int y) {
  const CpuPixels& pixels = std::get<CpuPixels>(frame.memory);
  const std::uint8_t* pixel = pixels.data + static_cast<std::ptrdiff_t>(y) * pixels.stride + x * 4;
  return static_cast<std::uint32_t>(pixel[2]) << 16 | static_cast<std::uint32_t>(pixel[1]) << 8 | pixel[0];
}

// Resident memory of this process that it shares with others, in KiB.
int sharedMemory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  int kilobytes = 0;
  while (status >> word && word != "RssShmem:") {
  }
  status >> kilobytes;
  return kilobytes;
}

bool allOf(const CapturedFrame& frame, std::uint32_t colour) {
  for (int y = 0; y < frame.size.height(); ++y) {
    for (int x = 0; x < frame.size.width(); ++x) {
      if (colourAt(frame, x, y) != colour) return false;
    }
  }
  return frame.size.width() > 0 && frame.size.height() > 0;
}

class X11ScreenCaptureTest : public testing::Test {
 public:
  explicit X11ScreenCaptureTest(int width = 640, int height = 480, std::vector<std::string> serverArguments = {})
      : server(width, height, std::move(serverArguments)) {}
  void SetUp() override { ASSERT_TRUE(server.running()); }

  // Opens and takes the first frame.
  void openAndPoll(int index = 0) {
    ASSERT_EQ(capture->open(index).outcome, Outcome::opened);
    ASSERT_EQ(capture->poll(frame), Poll::changed);
  }
  // Polls until something changed.
  [[nodiscard]] bool pollUntilChanged() { return pollUntil(Poll::changed); }
  [[nodiscard]] bool pollUntil(Poll wanted) {
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      if (capture->poll(frame) == wanted) return true;
      (void)capture->wait(100ms, WakeOn::changeOrCall);
    }
    return false;
  }

  XvfbServer server;
  ScreenPainter painter{server.display()};
  std::unique_ptr<ScreenCapture> capture = makeX11ScreenCapture(server.display().toStdString());
  CapturedFrame frame;
};

class X11OddScreenCaptureTest : public X11ScreenCaptureTest {
 protected:
  X11OddScreenCaptureTest() : X11ScreenCaptureTest(641, 479) {}
};

class X11UnsharedScreenCaptureTest : public X11ScreenCaptureTest {
 protected:
  X11UnsharedScreenCaptureTest() : X11ScreenCaptureTest(640, 480, {"-extension", "MIT-SHM"}) {}
};

TEST_F(X11ScreenCaptureTest, readsTheScreenPixelByPixel) {
  ASSERT_EQ(server.run({"xsetroot", "-solid", "#204060"}), 0);
  openAndPoll();
  EXPECT_EQ(frame.size.width(), 640);
  EXPECT_EQ(frame.size.height(), 480);
  EXPECT_EQ(frame.damage, std::vector{QRect(0, 0, 640, 480)});
  EXPECT_TRUE(allOf(frame, kBlue));
}

TEST_F(X11OddScreenCaptureTest, readsAScreenOfOddSize) {
  painter.fillAll(kBlue);
  openAndPoll();
  EXPECT_EQ(frame.size.width(), 641);
  EXPECT_EQ(frame.size.height(), 479);
  EXPECT_TRUE(allOf(frame, kBlue));
}

TEST_F(X11ScreenCaptureTest, saysWhyADisplayCannotBeOpened) {
  const auto bad = makeX11ScreenCapture(":54321");
  const ScreenCapture::Opened opened = bad->open(0);
  EXPECT_EQ(opened.outcome, Outcome::refused);
  EXPECT_EQ(opened.error, QStringLiteral("cannot open display \":54321\""));
  EXPECT_EQ(bad->poll(frame), Poll::lost);
}

TEST_F(X11ScreenCaptureTest, seesWhatAProgramDrawsThatHasTakenTheServer) {
  painter.fillAll(kBlue);
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  painter.takeServer();
  painter.fill(kRed, 0, 0, 64, 64);
  ASSERT_TRUE(pollUntilChanged());
  EXPECT_EQ(colourAt(frame, 10, 10), kRed);
}

TEST_F(X11ScreenCaptureTest, endsAPollOfAServerThatSaysNothingWhenAbandoned) {
  openAndPoll();
  server.stop();
  painter.requestFill(kRed);
  std::atomic<bool> ended{false};
  std::thread polling([&] {
    // Once the server must be asked for the frame, poll() blocks.
    while (capture->poll(frame) != Poll::lost) (void)capture->wait(10ms, WakeOn::changeOrCall);
    capture->close();
    EXPECT_EQ(capture->open(0).outcome, Outcome::refused);
    ended = true;
  });
  capture->abandon();
  testloop::Timeout timeout;
  while (!ended && !timeout.isOver()) std::this_thread::sleep_for(5ms);
  EXPECT_TRUE(ended);
  server.goOn();
  polling.join();
}

TEST_F(X11ScreenCaptureTest, refusesAServerThatSaysNothing) {
  server.stop();
  EXPECT_EQ(capture->open(0).outcome, Outcome::refused);
  server.goOn();
  openAndPoll();
}

TEST_F(X11ScreenCaptureTest, seesNoChangeOnAStillScreen) {
  openAndPoll();
  EXPECT_TRUE(pollUntil(Poll::unchanged));
  EXPECT_EQ(capture->poll(frame), Poll::unchanged);
  EXPECT_EQ(capture->wait(100ms, WakeOn::changeOrCall), Woken::timeout);
}

TEST_F(X11ScreenCaptureTest, reportsWhatChanged) {
  painter.fillAll(kBlue);
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  painter.fill(kRed, 100, 151, 50, 20);
  ASSERT_TRUE(pollUntilChanged());
  // The changed area is a multiple of 16.
  EXPECT_EQ(frame.damage, std::vector{QRect(96, 144, 64, 32)});
  EXPECT_EQ(colourAt(frame, 100, 151), kRed);
  EXPECT_EQ(colourAt(frame, 149, 170), kRed);
  EXPECT_EQ(colourAt(frame, 150, 170), kBlue);
  EXPECT_EQ(colourAt(frame, 100, 150), kBlue);
}

TEST_F(X11ScreenCaptureTest, keepsTheFrameWholeOverManySmallChanges) {
  painter.fillAll(kBlue);
  openAndPoll();
  for (int i = 0; i < 40; ++i) {
    painter.fill(kRed, i * 16, i * 12, 16, 12);
    ASSERT_TRUE(pollUntilChanged());
    for (int j = 0; j < 40; ++j) {
      ASSERT_EQ(colourAt(frame, j * 16 + 8, j * 12 + 6), j <= i ? kRed : kBlue) << i << " " << j;
    }
  }
}

TEST_F(X11UnsharedScreenCaptureTest, readsAServerThatSharesNoMemory) {
  painter.fillAll(kBlue);
  openAndPoll();
  EXPECT_TRUE(allOf(frame, kBlue));
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  painter.fill(kRed, 100, 151, 50, 20);
  ASSERT_TRUE(pollUntilChanged());
  EXPECT_EQ(colourAt(frame, 149, 170), kRed);
  EXPECT_EQ(colourAt(frame, 100, 150), kBlue);
}

TEST_F(X11ScreenCaptureTest, keepsOneCopyOfTheScreenAndNoneWhileItIsStill) {
  const int before = sharedMemory();
  painter.fillAll(kBlue);
  openAndPoll();
  EXPECT_TRUE(allOf(frame, kBlue));
  // The system's count may lag behind by some pages for each thread.
  constexpr int kTolerance = 400;
  EXPECT_NEAR(sharedMemory() - before, (640 * 480 * 4) >> 10, kTolerance);
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  EXPECT_EQ(capture->wait(600ms, WakeOn::changeOrCall), Woken::timeout);
  EXPECT_NEAR(sharedMemory() - before, 0, kTolerance);
  painter.fill(kRed, 100, 151, 50, 20);
  ASSERT_TRUE(pollUntilChanged());
  EXPECT_EQ(frame.damage, std::vector{QRect(96, 144, 64, 32)});
  EXPECT_EQ(colourAt(frame, 149, 170), kRed);
  EXPECT_EQ(colourAt(frame, 150, 170), kBlue);
}

TEST_F(X11ScreenCaptureTest, readsAllOfDamageThatItJoinsAfterARest) {
  painter.fillAll(kBlue);
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  EXPECT_EQ(capture->wait(600ms, WakeOn::changeOrCall), Woken::timeout);
  painter.fill(kRed, 0, 0, 640, 192);
  painter.fill(kRed, 0, 288, 640, 192);
  const auto expected = [](int y) { return y >= 192 && y < 288 ? kBlue : kRed; };
  // The second fill may come after the first one was read.
  testloop::Timeout timeout;
  std::vector<QRect> damage;
  while ((damage.empty() || damage.back().bottom() != 479) && !timeout.isOver()) {
    if (capture->poll(frame) == Poll::changed) damage = frame.damage;
  }
  for (const QRect& rect : damage) {
    for (int y = rect.top(); y <= rect.bottom(); ++y) ASSERT_EQ(colourAt(frame, 320, y), expected(y)) << y;
  }
  EXPECT_FALSE(damage.empty());
}

TEST_F(X11ScreenCaptureTest, isWokenByAChange) {
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  std::jthread later([&] { painter.fill(kRed, 0, 0, 10, 10); });
  EXPECT_EQ(capture->wait(10s, WakeOn::changeOrCall), Woken::change);
}

TEST_F(X11ScreenCaptureTest, isWokenByChangesRightAfterTheFirstPoll) {
  openAndPoll();
  for (int i = 0; i < 5; ++i) {
    painter.fill(i % 2 == 0 ? kRed : kBlue, 0, 0, 640, 480);
    do {
      ASSERT_EQ(capture->wait(10s, WakeOn::changeOrCall), Woken::change);
    } while (capture->poll(frame) == Poll::unchanged);
    EXPECT_EQ(colourAt(frame, 320, 240), i % 2 == 0 ? kRed : kBlue);
  }
}

TEST_F(X11ScreenCaptureTest, remembersAChangeThatCameBeforeTheWait) {
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  painter.fill(kRed, 0, 0, 10, 10);
  EXPECT_EQ(capture->wait(10s, WakeOn::changeOrCall), Woken::change);
  EXPECT_EQ(capture->wait(10s, WakeOn::changeOrCall), Woken::change) << "until the display is polled";
}

TEST_F(X11ScreenCaptureTest, sleepsThroughChangesWhenAskedTo) {
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  painter.fill(kRed, 0, 0, 10, 10);
  EXPECT_EQ(capture->wait(30ms, WakeOn::call), Woken::timeout);
}

TEST_F(X11ScreenCaptureTest, isWokenByACallFromAnotherThread) {
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  std::jthread later([&] { capture->wake(); });
  EXPECT_EQ(capture->wait(std::chrono::nanoseconds::max(), WakeOn::changeOrCall), Woken::call);
}

TEST_F(X11ScreenCaptureTest, remembersACallThatCameBeforeTheWait) {
  capture->wake();
  capture->wake();
  EXPECT_EQ(capture->wait(10s, WakeOn::call), Woken::call);
  EXPECT_EQ(capture->wait(1ms, WakeOn::call), Woken::timeout);
}

TEST_F(X11ScreenCaptureTest, leavesTheCursorOut) {
  ASSERT_EQ(server.run({"xsetroot", "-solid", "#204060", "-cursor_name", "gumby"}), 0);
  painter.movePointer(100, 100);
  openAndPoll();
  EXPECT_TRUE(allOf(frame, kBlue));
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  for (int i = 0; i < 20; ++i) {
    painter.movePointer(200 + i * 10, 200);
    const Poll seen = capture->poll(frame);
    EXPECT_TRUE(seen == Poll::unchanged || allOf(frame, kBlue));
  }
  painter.fill(kRed, 0, 0, 1, 1);
  ASSERT_TRUE(pollUntilChanged());
  EXPECT_EQ(colourAt(frame, 395, 205), kBlue);
}

TEST_F(X11ScreenCaptureTest, countsMonitorsInRandrsOrder) {
  ASSERT_TRUE(server.splitIntoTwoMonitors(400, 240, 480));
  const auto monitors = painter.monitors();
  ASSERT_EQ(monitors.size(), 2u);
  for (std::size_t i = 0; i < monitors.size(); ++i) {
    const auto& monitor = monitors[i];
    painter.fillAll(kBlue);
    painter.fill(kRed, monitor.x, monitor.y, monitor.width, monitor.height);
    openAndPoll(static_cast<int>(i));
    EXPECT_EQ(frame.size.width(), monitor.width);
    EXPECT_EQ(frame.size.height(), monitor.height);
    EXPECT_TRUE(allOf(frame, kRed));
  }
}

TEST_F(X11ScreenCaptureTest, opensTheLastMonitorForAnIndexBeyondIt) {
  ASSERT_TRUE(server.splitIntoTwoMonitors(400, 240, 480));
  const ScreenCapture::Opened opened = capture->open(3);
  EXPECT_EQ(opened.outcome, Outcome::opened);
  EXPECT_EQ(opened.displayIndex, 1);
}

TEST_F(X11ScreenCaptureTest, ignoresChangesOnAnotherMonitor) {
  ASSERT_TRUE(server.splitIntoTwoMonitors(400, 240, 480));
  openAndPoll(0);
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  painter.fill(kRed, 450, 10, 50, 50);
  EXPECT_EQ(capture->poll(frame), Poll::unchanged);
}

TEST_F(X11ScreenCaptureTest, followsAChangeOfTheScreensSize) {
  openAndPoll();
  ASSERT_TRUE(testx11::resizeScreen(server, 400, 300));
  painter.fillAll(kBlue);
  testloop::Timeout timeout;
  while (frame.size.width() != 400 && !timeout.isOver()) {
    if (capture->poll(frame) == Poll::lost) {
      ASSERT_EQ(capture->open(0).outcome, Outcome::opened);
    }
  }
  EXPECT_EQ(frame.size.width(), 400);
  EXPECT_EQ(frame.size.height(), 300);
  EXPECT_TRUE(allOf(frame, kBlue));
}

TEST_F(X11ScreenCaptureTest, outlivesItsServer) {
  openAndPoll();
  server.kill();
  EXPECT_EQ(capture->wait(10s, WakeOn::changeOrCall), Woken::change);
  EXPECT_EQ(capture->poll(frame), Poll::lost);
  EXPECT_EQ(capture->poll(frame), Poll::lost);
  EXPECT_EQ(capture->open(0).outcome, Outcome::refused);
  ASSERT_TRUE(server.restart());
  openAndPoll();
}

TEST_F(X11ScreenCaptureTest, outlivesAServerThatIsKilledWhileItReads) {
  for (int round = 0; round < 5; ++round) {
    if (!server.running()) {
      ASSERT_TRUE(server.restart());
    }
    std::atomic<int> polls{0};
    std::jthread reader([&](const std::stop_token& stop) {
      ScreenPainter busy(server.display());
      std::uint32_t colour = 0;
      bool lost = capture->open(0).outcome != Outcome::opened;
      while (!stop.stop_requested() && !lost) {
        busy.fillAll(++colour);
        lost = capture->poll(frame) == Poll::lost;
        ++polls;
      }
      EXPECT_TRUE(lost);
      capture->close();
      polls = 1000;
    });
    while (polls < 20 + round) std::this_thread::yield();
    server.kill();
    testloop::Timeout timeout;
    while (polls < 1000 && !timeout.isOver()) std::this_thread::yield();
    EXPECT_GE(polls, 1000);
  }
}

TEST_F(X11ScreenCaptureTest, seesAChangeOfTheWholeScreen) {
  openAndPoll();
  for (const std::uint32_t colour : {kRed, kBlue, kRed}) {
    ASSERT_TRUE(pollUntil(Poll::unchanged));
    painter.fillAll(colour);
    ASSERT_TRUE(pollUntilChanged());
    EXPECT_TRUE(allOf(frame, colour));
  }
}

TEST_F(X11ScreenCaptureTest, findsNoDisplayWhenNoneIsOn) {
  (void)server.run({"xrandr", "--output", "screen", "--off"});
  ASSERT_TRUE(painter.monitors().empty());
  EXPECT_EQ(capture->open(0).outcome, Outcome::noDisplay);
}

}  // namespace
}  // namespace vantora
