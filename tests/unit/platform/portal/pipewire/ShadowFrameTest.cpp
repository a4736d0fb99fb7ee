#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "platform/portal/pipewire/ShadowFrame.h"

namespace vantora {
namespace {

class ShadowFrameTest : public testing::Test {
 protected:
  static constexpr int kWidth = 640;
  static constexpr int kHeight = 320;
  static constexpr int kGap = 3;  // Pixels between two rows.

  FrameView view() const {
    return {reinterpret_cast<const std::uint8_t*>(pixels_.data()),
            (kWidth + kGap) * 4,
            {kWidth, kHeight},
            PixelFormat::bgrx};
  }
  void paint(const QRect& area) {
    ++colour_;
    for (int y = area.top(); y <= area.bottom(); ++y) {
      for (int x = area.left(); x <= area.right(); ++x) pixels_[indexOf(x, y)] = colour_;
    }
  }
  std::vector<QRect> update(const FrameDamage& damage = std::nullopt) { return shadow_.update(view(), damage); }
  bool showsAll() const {
    for (int y = 0; y < kHeight; ++y) {
      const auto* const row = reinterpret_cast<const std::uint32_t*>(shadow_.data()) + std::ptrdiff_t{y} * kWidth;
      if (!std::equal(row, row + kWidth, pixels_.data() + indexOf(0, y))) return false;
    }
    return true;
  }

  ShadowFrame shadow_;

 private:
  static std::size_t indexOf(int x, int y) {
    return static_cast<std::size_t>(y) * (kWidth + kGap) + static_cast<std::size_t>(x);
  }
  std::uint32_t colour_ = 0;
  std::vector<std::uint32_t> pixels_ = std::vector<std::uint32_t>(indexOf(0, kHeight));
};

const std::vector<QRect> kAll{QRect(0, 0, 640, 320)};

TEST_F(ShadowFrameTest, takesAllOfTheFirstFrame) {
  paint({0, 0, kWidth, kHeight});
  EXPECT_EQ(update(), kAll);
  EXPECT_EQ(shadow_.size(), QSize(kWidth, kHeight));
  EXPECT_TRUE(showsAll());
}

TEST_F(ShadowFrameTest, takesAllOfAnotherSizeOrFormat) {
  (void)update();
  FrameView smaller = view();
  smaller.size = {100, 50};
  EXPECT_EQ(shadow_.update(smaller, std::vector<QRect>()), std::vector{QRect(0, 0, 100, 50)});
  smaller.format = PixelFormat::rgbx;
  EXPECT_EQ(shadow_.update(smaller, std::vector<QRect>()), std::vector{QRect(0, 0, 100, 50)});
  EXPECT_EQ(shadow_.format(), PixelFormat::rgbx);
  shadow_.reset();
  EXPECT_TRUE(shadow_.isEmpty());
  EXPECT_EQ(update(), kAll);
}

TEST_F(ShadowFrameTest, findsNoChangeInTheSameFrame) {
  (void)update();
  EXPECT_TRUE(update().empty());
}

TEST_F(ShadowFrameTest, findsOnePixelInItsTile) {
  (void)update();
  paint({639, 319, 1, 1});
  EXPECT_EQ(update(), std::vector{QRect(576, 288, 64, 32)});
  EXPECT_TRUE(showsAll());
}

TEST_F(ShadowFrameTest, joinsTheTilesOfALineOfText) {
  (void)update();
  paint({100, 70, 300, 16});
  EXPECT_EQ(update(), std::vector{QRect(64, 64, 384, 32)});
}

TEST_F(ShadowFrameTest, joinsTheTilesOfTwoWindowsSideBySide) {
  (void)update();
  paint({64, 32, 64, 96});
  paint({256, 32, 128, 96});
  EXPECT_EQ(update(), (std::vector{QRect(64, 32, 64, 96), QRect(256, 32, 128, 96)}));
  EXPECT_TRUE(showsAll());
}

TEST_F(ShadowFrameTest, looksOnlyAtTheDamage) {
  (void)update();
  paint({0, 0, kWidth, kHeight});
  EXPECT_EQ(update(std::vector{QRect(10, 10, 5, 5), QRect(130, 300, 5000, 5000), QRect()}),
            (std::vector{QRect(0, 0, 64, 32), QRect(128, 288, 512, 32)}));
  // What has been taken over is not found again.
  EXPECT_TRUE(update(std::vector{QRect(10, 10, 5, 5)}).empty());
  (void)update();
  EXPECT_TRUE(showsAll());
}

TEST_F(ShadowFrameTest, returnsABoundedNumberOfRectangles) {
  FrameView large;
  std::vector<std::uint32_t> pixels(std::size_t{4096} * 4096);
  large = {reinterpret_cast<const std::uint8_t*>(pixels.data()), 4096 * 4, {4096, 4096}, PixelFormat::bgrx};
  (void)shadow_.update(large, std::nullopt);
  // Every other tile of every row, like a chess board.
  for (std::size_t y = 0; y < 4096; y += 32) {
    for (std::size_t x = y / 32 % 2 * 64; x < 4096; x += 128) ++pixels[y * 4096 + x];
  }
  const auto changed = shadow_.update(large, std::nullopt);
  EXPECT_LE(changed.size(), ShadowFrame::kMaxRects);
  for (int y = 0; y < 4096; y += 32) {
    const int x = y / 32 % 2 * 64;
    EXPECT_TRUE(std::ranges::any_of(changed, [&](const QRect& rect) { return rect.contains(x, y); })) << x << ' ' << y;
  }
}

}  // namespace
}  // namespace vantora
