// Contract tests for every ScreenCapture implementation. See DesktopContracts.h.
#pragma once

#include <algorithm>
#include <chrono>
#include <thread>
#include <variant>

#include "tests/contract/DesktopContract.h"
#include "tests/fakes/Timeout.h"

namespace vantora {

class ScreenCaptureContract : public DesktopContract {
 protected:
  using Poll = ScreenCapture::Poll;
  using Outcome = ScreenCapture::Outcome;
  using WakeOn = ScreenCapture::WakeOn;
  using Woken = ScreenCapture::Woken;
  static constexpr std::uint32_t kBlue = 0x204060;
  static constexpr std::uint32_t kRed = 0xc01020;

  void SetUp() override {
    DesktopContract::SetUp();
    make();
  }
  void TearDown() override {
    if (capture_) capture_->close();
  }
  void make() {
    capture_ = session().makeScreenCapture();
    ASSERT_TRUE(capture_);
  }
  void openAndPoll(int index = 0) {
    const ScreenCapture::Opened opened = openWhenDecided(*capture_, index);
    ASSERT_EQ(opened.outcome, Outcome::opened) << opened.error.toStdString();
    ASSERT_TRUE(pollUntil(Poll::changed));
  }
  [[nodiscard]] bool pollUntil(Poll wanted) { return DesktopContract::pollUntil(*capture_, frame_, wanted); }
  std::uint32_t colourAt(int x, int y) const {
    const CpuPixels& pixels = std::get<CpuPixels>(frame_.memory);
    const std::uint8_t* pixel = pixels.data + static_cast<std::ptrdiff_t>(y) * pixels.stride + x * 4;
    const bool blueFirst = frame_.format == PixelFormat::bgrx;
    return static_cast<std::uint32_t>(pixel[blueFirst ? 2 : 0]) << 16 | static_cast<std::uint32_t>(pixel[1]) << 8 |
           pixel[blueFirst ? 0 : 2];
  }
  bool damaged(int x, int y) const {
    return std::ranges::any_of(frame_.damage, [&](const QRect& area) { return area.contains(x, y); });
  }

  std::unique_ptr<ScreenCapture> capture_;
  CapturedFrame frame_;
};

TEST_P(ScreenCaptureContract, showsTheWholeDisplayAtFirst) {
  desktop_->paint(kBlue, {0, 0, kWidth, kHeight});
  openAndPoll();
  EXPECT_EQ(frame_.size, QSize(kWidth, kHeight));
  for (const auto& [x, y] : {std::pair{0, 0}, {kWidth - 1, 0}, {0, kHeight - 1}, {kWidth - 1, kHeight - 1}}) {
    EXPECT_TRUE(damaged(x, y)) << x << ' ' << y;
    EXPECT_EQ(colourAt(x, y), kBlue) << x << ' ' << y;
  }
}

TEST_P(ScreenCaptureContract, saysWhereTheDisplayChanged) {
  desktop_->paint(kBlue, {0, 0, kWidth, kHeight});
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  desktop_->paint(kRed, {200, 100, 50, 30});
  ASSERT_TRUE(pollUntil(Poll::changed));
  EXPECT_EQ(colourAt(200, 100), kRed);
  EXPECT_EQ(colourAt(249, 129), kRed);
  EXPECT_EQ(colourAt(250, 130), kBlue);
  EXPECT_TRUE(damaged(200, 100) && damaged(249, 129));
  EXPECT_FALSE(damaged(900, 500));
}

TEST_P(ScreenCaptureContract, isWokenByAChange) {
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  desktop_->paint(kRed, {0, 0, 50, 50});
  EXPECT_EQ(capture_->wait(std::chrono::seconds(20), WakeOn::changeOrCall), Woken::change);
}

TEST_P(ScreenCaptureContract, isWokenByACallThatCameBefore) {
  openAndPoll();
  capture_->wake();
  EXPECT_EQ(capture_->wait(std::chrono::seconds(20), WakeOn::call), Woken::call);
  EXPECT_EQ(capture_->wait(std::chrono::milliseconds(1), WakeOn::call), Woken::timeout);
}

TEST_P(ScreenCaptureContract, isWokenByACallFromAnotherThread) {
  openAndPoll();
  std::thread caller([&] { capture_->wake(); });
  EXPECT_EQ(capture_->wait(std::chrono::seconds(20), WakeOn::call), Woken::call);
  caller.join();
}

TEST_P(ScreenCaptureContract, showsTheDisplayThatIsNamed) {
  desktop_->split();
  make();
  openAndPoll(1);
  EXPECT_EQ(frame_.size, QSize(kWidth - 600, kHeight));
}

TEST_P(ScreenCaptureContract, takesTheLastDisplayForANumberBeyond) {
  desktop_->split();
  make();
  const ScreenCapture::Opened opened = openWhenDecided(*capture_, 9);
  EXPECT_EQ(opened.outcome, Outcome::opened);
  EXPECT_EQ(opened.displayIndex, 1);
}

TEST_P(ScreenCaptureContract, showsTheWholeDisplayAgainWhenOpenedAgain) {
  openAndPoll();
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  openAndPoll();
  EXPECT_TRUE(damaged(0, 0) && damaged(kWidth - 1, kHeight - 1));
}

TEST_P(ScreenCaptureContract, isLostWithTheDesktop) {
  openAndPoll();
  desktop_->lose();
  EXPECT_TRUE(pollUntil(Poll::lost));
  EXPECT_NE(capture_->open(0).outcome, Outcome::opened);
}

TEST_P(ScreenCaptureContract, isLostWhenAbandoned) {
  openAndPoll();
  capture_->abandon();
  EXPECT_TRUE(pollUntil(Poll::lost));
}

TEST_P(ScreenCaptureContract, readsNothingWhileClosed) {
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
  openAndPoll();
  capture_->close();
  EXPECT_EQ(capture_->poll(frame_), Poll::lost);
  capture_->close();
}

}  // namespace vantora
