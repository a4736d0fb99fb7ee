#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "main/video/encoders/ChangeDetector.h"

namespace vantora {
namespace {

TEST(ChangeDetector, takesTheFirstFrameAndANewSizeAsAllNew) {
  ChangeDetector changes;
  const std::vector<uint8_t> frame(64 * 64, 7);
  EXPECT_EQ(changes.compare(frame.data(), 64, 64, 64), 1);
  EXPECT_EQ(changes.compare(frame.data(), 64, 64, 64), 0);
  EXPECT_EQ(changes.compare(frame.data(), 64, 48, 64), 1);
}

TEST(ChangeDetector, countsTheBlocksThatDiffer) {
  ChangeDetector changes;
  std::vector<uint8_t> frame(64 * 64, 7);
  changes.compare(frame.data(), 64, 64, 64);
  frame[0] = 8;             // Block (0, 0),
  frame[15 * 64 + 15] = 8;  // the same one again,
  frame[63 * 64 + 63] = 9;  // and the last of 16.
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), 64, 64, 64), 2.0 / 16);
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), 64, 64, 64), 0);
}

TEST(ChangeDetector, comparesTheRestThatIsNoWholeBlockAndNotBeyondTheRow) {
  ChangeDetector changes;
  std::vector<uint8_t> frame(64 * 20, 7);
  changes.compare(frame.data(), 64, 20, 20);  // Two by two blocks; 44 bytes of each row are padding.
  frame[30] = 8;
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), 64, 20, 20), 0);
  frame[19 * 64 + 19] = 8;
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), 64, 20, 20), 1.0 / 4);
}

TEST(ChangeDetector, comparesTheAreaOnlyAndKeepsTheRestForLater) {
  ChangeDetector changes;
  std::vector<uint8_t> frame(64 * 64, 7);
  changes.compare(frame.data(), 64, 64, 64);
  frame[20 * 64 + 20] = 8;  // Block (1, 1), in the area,
  frame[20 * 64 + 40] = 8;  // (2, 1), its last column beside it,
  frame[40 * 64 + 20] = 8;  // and (1, 2), below it.
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), 64, 64, 64, {17, 17, 23, 23}), 1.0 / 16);
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), 64, 64, 64), 2.0 / 16);
}

TEST(ChangeDetector, countsEveryBlockThatTheAreaTouches) {
  ChangeDetector changes;
  std::vector<uint8_t> frame(64 * 64, 7);
  changes.compare(frame.data(), 64, 64, 64);
  std::ranges::fill(frame, 8);
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), 64, 64, 64, {15, 31, 18, 2}), 6.0 / 16);
}

TEST(ChangeDetector, takesAnEmptyAreaForAnUnchangedFrame) {
  for (const ChangeDetector::Area area :
       {ChangeDetector::Area{0, 0, 0, 0}, {8, 8, 0, 9}, {8, 8, 9, -1}, {64, 0, 8, 8}}) {
    ChangeDetector changes;
    std::vector<uint8_t> frame(64 * 64, 7);
    changes.compare(frame.data(), 64, 64, 64);
    std::ranges::fill(frame, 8);
    EXPECT_EQ(changes.compare(frame.data(), 64, 64, 64, area), 0);
    EXPECT_EQ(changes.compare(frame.data(), 64, 64, 64), 1);
  }
}

TEST(ChangeDetector, cutsAnAreaThatReachesBeyondTheFrame) {
  constexpr int kFar = std::numeric_limits<int>::max();
  for (const ChangeDetector::Area area : {ChangeDetector::Area{-5, -5, 100, 100}, {0, 0, kFar, kFar}}) {
    ChangeDetector changes;
    std::vector<uint8_t> frame(20 * 20, 7);
    changes.compare(frame.data(), 20, 20, 20);
    std::ranges::fill(frame, 8);
    EXPECT_EQ(changes.compare(frame.data(), 20, 20, 20, area), 1);
  }
}

TEST(ChangeDetector, comparesTheFirstFrameAndANewSizeAsAWholeWhateverTheArea) {
  ChangeDetector changes;
  std::vector<uint8_t> frame(64 * 64, 7);
  EXPECT_EQ(changes.compare(frame.data(), 64, 64, 64, {0, 0, 0, 0}), 1);
  EXPECT_EQ(changes.compare(frame.data(), 64, 48, 64, {0, 0, 16, 16}), 1);
  EXPECT_EQ(changes.compare(frame.data(), 64, 48, 64), 0) << "all of it is known";
}

// A frame whose rows are pages of memory.
class PagedFrame {
 public:
  static constexpr int kRows = 48;

  PagedFrame()
      : stride_(static_cast<int>(sysconf(_SC_PAGESIZE))),
        memory_(mmap(nullptr, size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
  ~PagedFrame() { munmap(memory_, size()); }
  PagedFrame(const PagedFrame&) = delete;
  PagedFrame& operator=(const PagedFrame&) = delete;

  uint8_t* data() const { return static_cast<uint8_t*>(memory_); }
  int stride() const { return stride_; }
  // Any access to these rows ends the program.
  void lock(int top, int bottom) const {
    ASSERT_EQ(mprotect(data() + top * stride_, static_cast<size_t>((bottom - top) * stride_), PROT_NONE), 0);
  }

 private:
  size_t size() const { return static_cast<size_t>(kRows) * static_cast<size_t>(stride_); }

  int stride_;
  void* memory_;
};

TEST(ChangeDetector, readsNoRowOutsideOfTheArea) {
  const PagedFrame frame;
  ChangeDetector changes;
  const int width = frame.stride();
  changes.compare(frame.data(), width, width, PagedFrame::kRows);
  frame.lock(0, 20);
  frame.lock(30, PagedFrame::kRows);
  frame.data()[25 * width + 100] = 1;
  const int blocks = width / 16 * PagedFrame::kRows / 16;
  EXPECT_DOUBLE_EQ(changes.compare(frame.data(), width, width, PagedFrame::kRows, {96, 20, 16, 10}), 1.0 / blocks);
}

class ChangeDetectorFrameTest : public testing::Test {
 protected:
  ChangeDetectorFrameTest() { webrtc::I420Buffer::SetBlack(buffer_.get()); }

  // Changes the block at the top left and returns the share found in a frame at `ms` that names another block.
  double shareAt(int64_t ms) {
    ++*buffer_->MutableDataY();
    const auto frame = webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(buffer_)
                           .set_timestamp_us(ms * 1000)
                           .set_update_rect(webrtc::VideoFrame::UpdateRect{16, 16, 16, 16})
                           .build();
    return changes_.changedShare(frame, *buffer_);
  }

  ChangeDetector changes_;
  rtc::scoped_refptr<webrtc::I420Buffer> buffer_ = webrtc::I420Buffer::Create(64, 64);
};

TEST_F(ChangeDetectorFrameTest, readsTheUpdateRectangleOnly) {
  EXPECT_EQ(shareAt(5000), 1) << "the first frame";
  EXPECT_EQ(shareAt(5033), 0);
  EXPECT_EQ(shareAt(5033), 0);
  EXPECT_EQ(shareAt(5900), 0);
}

TEST_F(ChangeDetectorFrameTest, namesTheRowsThatChanged) {
  const auto rows = [this] { return std::pair(changes_.changedRows().top, changes_.changedRows().bottom); };
  const auto compare = [this] { changes_.compare(buffer_->DataY(), buffer_->StrideY(), 64, 64); };
  compare();
  EXPECT_EQ(rows(), std::pair(0, 64)) << "the first frame";
  compare();
  EXPECT_EQ(rows(), std::pair(0, 0));
  ++buffer_->MutableDataY()[20 * buffer_->StrideY()];
  ++buffer_->MutableDataY()[47 * buffer_->StrideY() + 63];
  compare();
  EXPECT_EQ(rows(), std::pair(16, 48));
  EXPECT_EQ(changes_.changedBlockRows(), (std::vector<bool>{false, true, true, false}));
}

// The library may have dropped a frame in between with its rectangle.
TEST_F(ChangeDetectorFrameTest, readsAllOfAFrameThatComesASecondAfterTheLastOne) {
  EXPECT_EQ(shareAt(0), 1);
  EXPECT_EQ(shareAt(33), 0);
  EXPECT_DOUBLE_EQ(shareAt(933), 1.0 / 16);
  EXPECT_EQ(shareAt(966), 0);
  EXPECT_EQ(shareAt(10), 0) << "time that runs backwards is no pause";
}

}  // namespace
}  // namespace vantora
