#include <gtest/gtest.h>

#include "main/video/encoders/PageReveal.h"
#include "main/video/encoders/ScrollPath.h"

namespace vantora {
namespace {

using Picture = rtc::scoped_refptr<webrtc::I420Buffer>;

// Row y has the brightness 2 * y, and columns alternate by 10.
Picture striped(int width = 64, int height = 72, int shift = 0) {
  const auto buffer = webrtc::I420Buffer::Create(width, height);
  webrtc::I420Buffer::SetBlack(buffer.get());
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x)
      buffer->MutableDataY()[y * buffer->StrideY() + x] = static_cast<uint8_t>(2 * (y + shift) + x % 2 * 10);
  }
  return buffer;
}

int lumaAt(const webrtc::I420BufferInterface& buffer, int x, int y) { return buffer.DataY()[y * buffer.StrideY() + x]; }

TEST(PageReveal, hidesWhatIsNotShownYetBehindTheMeanOfItsBlocks) {
  PageReveal page;
  EXPECT_FALSE(page.isActive());
  const Picture picture = striped();
  page.start(72);
  EXPECT_EQ(page.rows(), 5) << "the last is half a block";
  EXPECT_EQ(page.hidden(), 5);
  page.show(1);
  const auto source = page.source(*picture);
  EXPECT_EQ(lumaAt(*source, 1, 15), lumaAt(*picture, 1, 15));
  EXPECT_EQ(lumaAt(*source, 0, 16), 16 * 2 + 15 + 5);
  EXPECT_EQ(lumaAt(*source, 1, 31), 16 * 2 + 15 + 5);
  EXPECT_EQ(lumaAt(*source, 1, 71), 64 * 2 + 7 + 5);
}

TEST(PageReveal, showsRowsFromTheTopAndEndsWithTheLast) {
  PageReveal page;
  page.start(64);
  page.show(1);
  const std::vector<bool> third{false, false, true, false};
  EXPECT_EQ(page.showTouched(third), 1) << "what changes is shown at once";
  EXPECT_EQ(page.showTouched(third), 0);
  page.show(1);
  EXPECT_EQ(page.hidden(), 1);
  EXPECT_TRUE(page.isActive());
  page.show(7);
  EXPECT_FALSE(page.isActive());
}

TEST(PageReveal, acceptsAnyNumberOfTouchedRows) {
  PageReveal page;
  page.start(64);
  EXPECT_EQ(page.showTouched({}), 0);
  EXPECT_EQ(page.showTouched(std::vector<bool>(2, true)), 2);
  EXPECT_EQ(page.showTouched(std::vector<bool>(9, true)), 2);
  EXPECT_FALSE(page.isActive());
}

TEST(ScrollPath, movesContentByAPartOfTheWay) {
  const Picture before = striped();
  for (const int distance : {12, -12}) {
    const Picture after = striped(64, 72, distance);
    const auto between = scrolledPartly(*before, *after, 0, 72, distance, distance / 3);
    for (int y = 0; y < 72; ++y) EXPECT_EQ(lumaAt(*between, 0, y), (2 * (y + distance / 3)) & 255) << y;
  }
}

TEST(ScrollPath, leavesWhatStandsStillAndWhatIsOutsideTheArea) {
  const Picture before = striped(128);
  const Picture after = striped(128, 72, 9);
  for (int y = 0; y < 72; ++y) {
    for (int x = 64; x < 128; ++x) after->MutableDataY()[y * after->StrideY() + x] = before->DataY()[y * 128 + x];
  }
  const auto between = scrolledPartly(*before, *after, 16, 64, 9, 3);
  EXPECT_EQ(lumaAt(*between, 0, 20), 2 * 23);
  EXPECT_EQ(lumaAt(*between, 64, 20), lumaAt(*before, 64, 20));
  EXPECT_EQ(lumaAt(*between, 0, 10), lumaAt(*after, 0, 10));
  EXPECT_EQ(lumaAt(*between, 0, 70), lumaAt(*after, 0, 70));
}

TEST(ScrollPath, acceptsDistancesBeyondTheArea) {
  const Picture before = striped();
  const Picture after = striped(64, 72, 5);
  for (const int distance : {1000, -1000}) {
    const auto between = scrolledPartly(*before, *after, -10, 500, distance, distance / 2);
    EXPECT_EQ(between->height(), 72);
  }
}

}  // namespace
}  // namespace vantora
