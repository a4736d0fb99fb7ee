// A capture of streams of the test's own PipeWire server.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <variant>
#include <vector>

#include "platform/portal/pipewire/PipeWireScreenCapture.h"
#include "tests/fakes/Timeout.h"
#include "tests/wayland/pipewire/PipeWireServer.h"
#include "tests/wayland/pipewire/StreamLinker.h"
#include "tests/wayland/pipewire/TestStream.h"

namespace vantora {

// Grants what the test says and keeps the reports.
class TestAccess final : public StreamAccess {
 public:
  explicit TestAccess(const testpipewire::PipeWireServer& server) : server_(server) {}

  Reply request(std::function<void()> decided) override {
    const std::lock_guard lock(mutex_);
    ++requests_;
    decided_ = std::move(decided);
    Reply reply{outcome_, outcome_ == Outcome::refused ? QStringLiteral("no") : QString(), {}, FileDescriptor()};
    if (outcome_ == Outcome::granted) {
      for (const std::uint32_t node : nodes_) reply.streams.push_back({node});
      reply.remote = server_.connect();
    }
    return reply;
  }
  void cancel() override { ++cancels_; }
  void nudge(std::uint32_t) override { ++nudges_; }
  void reportFrameSize(std::uint32_t node, QSize pixels) override {
    const std::lock_guard lock(mutex_);
    sizes_.emplace_back(node, pixels);
  }
  void reportCursor(const StreamCursor& cursor) override {
    const std::lock_guard lock(mutex_);
    cursors_.push_back(cursor);
  }

  void grant(std::vector<std::uint32_t> nodes) {
    const std::lock_guard lock(mutex_);
    outcome_ = Outcome::granted;
    nodes_ = std::move(nodes);
  }
  void set(Outcome outcome) {
    const std::lock_guard lock(mutex_);
    outcome_ = outcome;
  }
  std::function<void()> decided() {
    const std::lock_guard lock(mutex_);
    return decided_;
  }
  int requests() {
    const std::lock_guard lock(mutex_);
    return requests_;
  }
  int cancels() const { return cancels_.load(); }
  int nudges() const { return nudges_.load(); }
  std::vector<std::pair<std::uint32_t, QSize>> sizes() {
    const std::lock_guard lock(mutex_);
    return sizes_;
  }
  std::vector<StreamCursor> cursors() {
    const std::lock_guard lock(mutex_);
    return cursors_;
  }

 private:
  const testpipewire::PipeWireServer& server_;
  std::mutex mutex_;
  Outcome outcome_ = Outcome::granted;
  std::vector<std::uint32_t> nodes_;
  std::function<void()> decided_;
  int requests_ = 0;
  std::vector<std::pair<std::uint32_t, QSize>> sizes_;
  std::vector<StreamCursor> cursors_;
  std::atomic<int> cancels_{0};
  std::atomic<int> nudges_{0};
};

class CaptureFixture : public testing::Test {
 protected:
  using Poll = ScreenCapture::Poll;
  using Outcome = ScreenCapture::Outcome;
  using WakeOn = ScreenCapture::WakeOn;
  using Woken = ScreenCapture::Woken;
  using Stream = testpipewire::TestStream;
  using Frame = testpipewire::TestFrame;
  static constexpr std::uint32_t kBlue = 0x204060;
  static constexpr std::uint32_t kRed = 0xc01020;
  static constexpr std::chrono::seconds kLong{20};
  static constexpr int kMark = 10000;  // Below every screen.

  void TearDown() override {
    frame_ = {};
    capture_->close();
  }
  // Starts a stream and opens it; it is the only one.
  void openStream(const Stream::Options& options = {}) {
    stream_ = std::make_unique<Stream>(server_, options);
    access_->grant({stream_->node()});
    open();
  }
  void open(int index = 0) {
    const ScreenCapture::Opened opened = capture_->open(index);
    ASSERT_EQ(opened.outcome, Outcome::opened) << opened.error.toStdString();
  }
  // Opens a blue screen and reads its first frame.
  void openBlue(const Stream::Options& options = {}) {
    openStream(options);
    stream_->paint(kBlue);
    ASSERT_TRUE(show(*stream_));
  }
  [[nodiscard]] bool pollUntil(Poll wanted) {
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      if (capture_->poll(frame_) == wanted) return true;
      (void)capture_->wait(std::chrono::milliseconds(100), WakeOn::changeOrCall);
    }
    return false;
  }
  // Sends the picture until it arrives, as its cursor shows: what is sent while a stream is being negotiated is lost.
  // Nothing else is on its way after that.
  [[nodiscard]] bool deliver(Stream& stream, Frame frame = {}) {
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      const QPoint mark(++deliveries_, kMark);
      frame.cursor = testpipewire::TestCursor{.position = mark};
      if (!stream.send(frame)) return false;
      testloop::Timeout arrival(std::chrono::milliseconds(300));
      while (!arrival.isOver()) {
        const auto cursors = access_->cursors();
        if (!cursors.empty() && cursors.back().position == mark) return true;
        (void)capture_->wait(std::chrono::milliseconds(1), WakeOn::call);
      }
    }
    return false;
  }
  [[nodiscard]] bool show(Stream& stream, const Frame& frame = {}) {
    return deliver(stream, frame) && pollUntil(Poll::changed);
  }
  // What the next frame comes to.
  Poll pollNext() {
    return capture_->wait(kLong, WakeOn::changeOrCall) == Woken::change ? capture_->poll(frame_) : Poll::notReady;
  }
  // Whether the condition comes true.
  [[nodiscard]] static bool becomes(const std::function<bool()>& condition) {
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      if (condition()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }
  std::uint32_t colourAt(int x, int y) const {
    const CpuPixels& pixels = std::get<CpuPixels>(frame_.memory);
    const std::uint8_t* pixel = pixels.data + static_cast<std::ptrdiff_t>(y) * pixels.stride + x * 4;
    const bool blueFirst = frame_.format == PixelFormat::bgrx;
    return static_cast<std::uint32_t>(pixel[blueFirst ? 2 : 0]) << 16 | static_cast<std::uint32_t>(pixel[1]) << 8 |
           pixel[blueFirst ? 0 : 2];
  }
  // Whether these are the colours of the corners of the frame.
  bool cornersAre(std::uint32_t colour) const {
    const int right = frame_.size.width() - 1;
    const int bottom = frame_.size.height() - 1;
    return colourAt(0, 0) == colour && colourAt(right, 0) == colour && colourAt(0, bottom) == colour &&
           colourAt(right, bottom) == colour;
  }
  std::vector<QRect> wholeFrame() const { return {QRect(QPoint(0, 0), frame_.size)}; }

  testpipewire::PipeWireServer server_;
  testpipewire::StreamLinker linker_{server_};
  std::shared_ptr<TestAccess> access_ = std::make_shared<TestAccess>(server_);
  std::unique_ptr<Stream> stream_;
  std::unique_ptr<ScreenCapture> capture_ = makePipeWireScreenCapture(access_);
  CapturedFrame frame_;

 private:
  int deliveries_ = 0;
};

}  // namespace vantora
