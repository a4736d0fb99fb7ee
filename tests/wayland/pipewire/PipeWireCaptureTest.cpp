// The life of a capture: permission, waiting, loss.
#include <thread>

#include "tests/wayland/pipewire/CaptureFixture.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

class PipeWireCaptureTest : public CaptureFixture {};

TEST_F(PipeWireCaptureTest, passesOnARefusal) {
  access_->set(StreamAccess::Outcome::refused);
  const ScreenCapture::Opened opened = capture_->open(0);
  EXPECT_EQ(opened.outcome, Outcome::refused);
  EXPECT_EQ(opened.error, QStringLiteral("no"));
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
}

TEST_F(PipeWireCaptureTest, isWokenByTheDecisionOfTheUser) {
  access_->set(StreamAccess::Outcome::pending);
  EXPECT_EQ(capture_->open(0).outcome, Outcome::awaitingConsent);
  EXPECT_EQ(capture_->wait(1ms, WakeOn::changeOrCall), Woken::timeout);
  std::thread portal([&] { access_->decided()(); });
  EXPECT_EQ(capture_->wait(kLong, WakeOn::changeOrCall), Woken::change);
  portal.join();
  openBlue();
  EXPECT_TRUE(cornersAre(kBlue));
}

TEST_F(PipeWireCaptureTest, endsItsQuestionWhenClosed) {
  access_->set(StreamAccess::Outcome::pending);
  (void)capture_->open(0);
  capture_->close();
  EXPECT_EQ(access_->cancels(), 1);
  const auto decided = access_->decided();
  capture_ = makePipeWireScreenCapture(access_);
  decided();  // May outlive the capture.
  capture_->close();
  EXPECT_EQ(access_->cancels(), 1);
}

TEST_F(PipeWireCaptureTest, findsNoDisplayAmongNoStreams) {
  access_->grant({});
  EXPECT_EQ(capture_->open(0).outcome, Outcome::noDisplay);
}

TEST_F(PipeWireCaptureTest, showsTheDisplayThatIsNamedOrTheLastOne) {
  Stream first(server_, {.size = {100, 50}});
  Stream second(server_, {.size = {200, 60}});
  access_->grant({first.node(), second.node()});
  EXPECT_EQ(capture_->open(0).displayIndex, 0);
  ASSERT_TRUE(show(first));
  EXPECT_EQ(frame_.size, QSize(100, 50));
  EXPECT_EQ(capture_->open(9).displayIndex, 1);
  ASSERT_TRUE(show(second));
  EXPECT_EQ(frame_.size, QSize(200, 60));
  EXPECT_EQ(access_->requests(), 2);
}

TEST_F(PipeWireCaptureTest, showsTheWholeScreenAgainWhenOpenedAgain) {
  openBlue();
  open();
  ASSERT_TRUE(show(*stream_));
  EXPECT_EQ(frame_.damage, wholeFrame());
}

TEST_F(PipeWireCaptureTest, isWokenOnceByAFrame) {
  openBlue();
  ASSERT_TRUE(stream_->send());
  EXPECT_EQ(capture_->wait(kLong, WakeOn::changeOrCall), Woken::change);
  EXPECT_EQ(capture_->poll(frame_), Poll::unchanged);
  EXPECT_EQ(capture_->wait(20ms, WakeOn::changeOrCall), Woken::timeout);
}

TEST_F(PipeWireCaptureTest, isNotWokenByAFrameWhenOnlyACallCounts) {
  openBlue();
  ASSERT_TRUE(stream_->send());
  EXPECT_EQ(capture_->wait(50ms, WakeOn::call), Woken::timeout);
  EXPECT_EQ(capture_->wait(kLong, WakeOn::changeOrCall), Woken::change);
}

TEST_F(PipeWireCaptureTest, isWokenByACallBeforeAndDuringTheWait) {
  openBlue();
  capture_->wake();
  EXPECT_EQ(capture_->wait(kLong, WakeOn::call), Woken::call);
  EXPECT_EQ(capture_->wait(1ms, WakeOn::call), Woken::timeout);
  std::thread caller([&] { capture_->wake(); });
  EXPECT_EQ(capture_->wait(std::chrono::nanoseconds::max(), WakeOn::changeOrCall), Woken::call);
  caller.join();
}

// Measured beside waking by a call from another thread, which takes what the machine takes to switch threads.
TEST_F(PipeWireCaptureTest, isWokenSoonAfterAFrameWasSent) {
  using Clock = std::chrono::steady_clock;
  openBlue();
  constexpr int kRounds = 15;
  std::vector<Clock::duration> frames;
  std::vector<Clock::duration> calls;
  const auto measure = [&](const std::function<void()>& cause, std::vector<Clock::duration>& times) {
    std::atomic<Clock::time_point> begun{};
    std::thread other([&] {
      begun.store(Clock::now());
      cause();
    });
    (void)capture_->wait(kLong, WakeOn::changeOrCall);
    times.push_back(Clock::now() - begun.load());
    other.join();
  };
  for (int i = 0; i < kRounds; ++i) {
    measure([&] { EXPECT_TRUE(stream_->send()); }, frames);
    (void)capture_->poll(frame_);
    measure([&] { capture_->wake(); }, calls);
  }
  std::ranges::sort(frames);
  std::ranges::sort(calls);
  // Four threads and a server take part in it; a capture that looks for frames at intervals takes longer.
  EXPECT_LT(frames[kRounds / 2], 25ms + 20 * calls[kRounds / 2]);
}

TEST_F(PipeWireCaptureTest, isLostWithTheServer) {
  openBlue();
  server_.kill();
  EXPECT_EQ(capture_->wait(kLong, WakeOn::changeOrCall), Woken::change);
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
  EXPECT_NE(capture_->open(0).outcome, Outcome::opened);
}

TEST_F(PipeWireCaptureTest, isLostWithTheStream) {
  openBlue();
  stream_.reset();
  EXPECT_EQ(capture_->wait(kLong, WakeOn::changeOrCall), Woken::change);
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
}

TEST_F(PipeWireCaptureTest, isLostWithoutTheStreamThatWasGranted) {
  access_->grant({4711});
  open();
  EXPECT_EQ(capture_->wait(kLong, WakeOn::changeOrCall), Woken::change);
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
}

TEST_F(PipeWireCaptureTest, isLostForEverWhenAbandoned) {
  openBlue();
  std::thread owner([&] { capture_->abandon(); });
  EXPECT_EQ(capture_->wait(kLong, WakeOn::changeOrCall), Woken::change);
  owner.join();
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
  EXPECT_EQ(capture_->open(0).outcome, Outcome::refused);
  EXPECT_EQ(access_->requests(), 1);
}

TEST_F(PipeWireCaptureTest, doesNotWaitForAServerThatHangs) {
  openBlue();
  server_.stop();
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(capture_->poll(frame_), Poll::unchanged);
  capture_->close();
  open();
  EXPECT_EQ(capture_->poll(frame_), Poll::notReady);
  capture_->close();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, 5s);
  server_.proceed();
}

TEST_F(PipeWireCaptureTest, readsNothingWhileClosed) {
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
  EXPECT_EQ(capture_->wait(1ms, WakeOn::changeOrCall), Woken::timeout);
  openBlue();
  capture_->close();
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
  EXPECT_EQ(capture_->wait(1ms, WakeOn::changeOrCall), Woken::timeout);
  capture_->close();
}

TEST_F(PipeWireCaptureTest, restartsAStreamWithoutAFirstFrameThenMovesThePointer) {
  openStream();
  ASSERT_TRUE(becomes([&] {
    (void)capture_->wait(20ms, WakeOn::changeOrCall);
    return stream_->starts() >= 2;
  }));
  EXPECT_EQ(access_->nudges(), 0);
  ASSERT_TRUE(becomes([&] {
    (void)capture_->poll(frame_);
    return access_->nudges() >= 1;
  }));
  stream_->paint(kBlue);
  ASSERT_TRUE(show(*stream_));
  const int starts = stream_->starts();
  EXPECT_EQ(capture_->wait(600ms, WakeOn::changeOrCall), Woken::timeout);
  EXPECT_EQ(stream_->starts(), starts);
}

TEST_F(PipeWireCaptureTest, isNotRecordedWhileNobodyLooks) {
  openBlue({.damage = true});
  EXPECT_EQ(capture_->wait(50ms, WakeOn::call), Woken::timeout);
  EXPECT_TRUE(stream_->isStreaming());
  std::atomic<bool> stopped{false};
  std::thread watcher([&] {
    stopped.store(becomes([&] { return !stream_->isStreaming(); }));
    capture_->wake();
  });
  EXPECT_EQ(capture_->wait(std::chrono::nanoseconds::max(), WakeOn::call), Woken::call);
  watcher.join();
  ASSERT_TRUE(stopped.load());
  // What it shows meanwhile comes with the first frame after that, wherever it says that something changed.
  EXPECT_EQ(capture_->wait(1ms, WakeOn::changeOrCall), Woken::timeout);
  stream_->paint(kRed);
  ASSERT_TRUE(show(*stream_, {.damage = {QRect(0, 0, 1, 1)}}));
  EXPECT_TRUE(cornersAre(kRed));
}

}  // namespace
}  // namespace vantora
