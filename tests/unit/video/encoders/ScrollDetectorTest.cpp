#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "main/video/encoders/ScrollDetector.h"

namespace vantora {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;

// A picture of noise twice as high as the screen, blank between `blankFrom` and `blankTo`.
class ScrollDetectorTest : public testing::Test {
 protected:
  ScrollDetectorTest() : page_(static_cast<size_t>(kWidth) * kHeight * 2) {
    std::minstd_rand random(1);
    std::ranges::generate(page_, [&] { return static_cast<uint8_t>(random() % 200); });
  }
  ScrollDetector::Plane at(int row) const {
    return {page_.data() + static_cast<size_t>(row) * kWidth, kWidth, kWidth, kHeight};
  }

  std::vector<uint8_t> page_;
  ScrollDetector detector_;
};

TEST_F(ScrollDetectorTest, findsHowFarContentHasMoved) {
  for (const int rows : {1, 3, 8, 51, 120}) {
    EXPECT_EQ(detector_.find(at(0), at(rows)), rows);
    EXPECT_EQ(detector_.find(at(rows), at(0)), -rows);
  }
}

TEST_F(ScrollDetectorTest, findsNothingInTheSamePictureAndInNewContent) {
  EXPECT_FALSE(detector_.find(at(0), at(0)));
  EXPECT_FALSE(detector_.find(at(0), at(kHeight)));
}

TEST_F(ScrollDetectorTest, findsNothingInBlankPictures) {
  std::ranges::fill(page_, 235);
  EXPECT_FALSE(detector_.find(at(0), at(5)));
}

TEST_F(ScrollDetectorTest, takesRepeatedRowsForNoMovement) {
  for (size_t i = kWidth; i < page_.size(); ++i) page_[i] = page_[i % kWidth];
  page_[0] ^= 1;
  EXPECT_FALSE(detector_.find(at(0), at(5)));
}

TEST_F(ScrollDetectorTest, ignoresWhatStandsStillBesideIt) {
  std::vector<uint8_t> after(page_.begin() + 7 * kWidth, page_.begin() + (7 + kHeight) * kWidth);
  for (int y = 0; y < kHeight; ++y) {
    std::copy_n(page_.begin() + y * kWidth, kWidth / 3, after.begin() + y * kWidth);
  }
  EXPECT_EQ(detector_.find(at(0), {after.data(), kWidth, kWidth, kHeight}), 7);
}

TEST_F(ScrollDetectorTest, takesAMoreThanHalfReplacedPictureAsNew) {
  std::vector<uint8_t> after(page_.begin() + 7 * kWidth, page_.begin() + (7 + kHeight) * kWidth);
  std::minstd_rand random(2);
  std::generate_n(after.begin(), after.size() * 3 / 4, [&] { return static_cast<uint8_t>(random() % 200); });
  EXPECT_FALSE(detector_.find(at(0), {after.data(), kWidth, kWidth, kHeight}));
}

TEST_F(ScrollDetectorTest, doesNotReadSmallAreas) {
  EXPECT_FALSE(detector_.find({nullptr, 0, 63, 500}, {nullptr, 0, 63, 500}));
  EXPECT_FALSE(detector_.find({nullptr, 0, 500, 63}, {nullptr, 0, 500, 63}));
}

}  // namespace
}  // namespace vantora
