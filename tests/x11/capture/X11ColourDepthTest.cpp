// The capture on screens whose pixels are not 24 bits in 32.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <ostream>
#include <string>
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

constexpr std::uint32_t kBlue = 0x204060;
constexpr std::uint32_t kRed = 0xc01020;
constexpr std::uint32_t kGreen = 0x20e040;
constexpr std::uint32_t kWhite = 0xffffff;
// Rows of an odd number of 16-bit pixels end with padding.
constexpr int kWidth = 321;
constexpr int kHeight = 240;

struct Depth {
  const char* name;
  int bits;
  // Largest difference of a channel of 8 bits.
  int tolerance;
  std::vector<std::string> options = {};
};

void PrintTo(const Depth& depth, std::ostream* out) { *out << depth.name; }

std::vector<std::string> arguments(const Depth& depth) {
  const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
  std::vector<std::string> list = {"-screen", "0", size + "x" + std::to_string(depth.bits)};
  list.insert(list.end(), depth.options.begin(), depth.options.end());
  return list;
}

// Bytes that this process has allocated and not freed.
std::size_t allocated() {
  const auto use = ::mallinfo2();
  return use.uordblks + use.hblkhd;
}

class X11ColourDepthTest : public testing::TestWithParam<Depth> {
 protected:
  void SetUp() override { ASSERT_TRUE(server_.running()); }

  void fill(std::uint32_t rgb, int x, int y, int width, int height) {
    painter_.fill(painter_.pixelOf(rgb), x, y, width, height);
  }
  void fillAll(std::uint32_t rgb) { painter_.fillAll(painter_.pixelOf(rgb)); }

  [[nodiscard]] bool openAndPoll() {
    return capture_->open(0).outcome == Outcome::opened && capture_->poll(frame_) == Poll::changed;
  }
  [[nodiscard]] bool pollUntil(Poll wanted) {
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      if (capture_->poll(frame_) == wanted) return true;
      (void)capture_->wait(100ms, WakeOn::changeOrCall);
    }
    return false;
  }

  // Whether the rectangle shows the colour, as far as the screen can.
  testing::AssertionResult shows(std::uint32_t rgb, const QRect& where) const {
    const CpuPixels& pixels = std::get<CpuPixels>(frame_.memory);
    for (int y = where.top(); y <= where.bottom(); ++y) {
      for (int x = where.left(); x <= where.right(); ++x) {
        const std::uint8_t* const pixel = pixels.data + static_cast<std::ptrdiff_t>(y) * pixels.stride + x * 4;
        for (int channel = 0; channel < 3; ++channel) {
          const int expected = static_cast<int>(rgb >> 8 * channel & 0xff);
          if (std::abs(pixel[channel] - expected) <= GetParam().tolerance) continue;
          return testing::AssertionFailure() << "at " << x << ", " << y << ": channel " << channel << " is "
                                             << int{pixel[channel]} << ", not " << expected;
        }
      }
    }
    return testing::AssertionSuccess();
  }

  XvfbServer server_{kWidth, kHeight, arguments(GetParam())};
  ScreenPainter painter_{server_.display()};
  std::unique_ptr<ScreenCapture> capture_ = makeX11ScreenCapture(server_.display().toStdString());
  CapturedFrame frame_;
};

// On screens whose pixels are held in memory of this process.
class X11BufferedScreenTest : public X11ColourDepthTest {};

TEST_P(X11ColourDepthTest, showsTheColoursOfTheScreen) {
  fillAll(kBlue);
  fill(kRed, 0, 0, 10, 10);
  fill(kGreen, kWidth - 10, kHeight - 10, 10, 10);
  fill(kWhite, 100, 100, 1, 1);
  ASSERT_TRUE(openAndPoll());
  EXPECT_EQ(frame_.size.width(), kWidth);
  EXPECT_EQ(frame_.size.height(), kHeight);
  EXPECT_TRUE(shows(kRed, {0, 0, 10, 10}));
  EXPECT_TRUE(shows(kBlue, {10, 0, kWidth - 10, 10}));
  EXPECT_TRUE(shows(kBlue, {0, 120, kWidth, 100}));
  EXPECT_TRUE(shows(kGreen, {kWidth - 10, kHeight - 10, 10, 10}));
  const CpuPixels& pixels = std::get<CpuPixels>(frame_.memory);
  for (int channel = 0; channel < 3; ++channel) EXPECT_EQ(pixels.data[100 * pixels.stride + 100 * 4 + channel], 255);
}

TEST_P(X11ColourDepthTest, keepsTheFrameWholeOverSmallChanges) {
  fillAll(kBlue);
  ASSERT_TRUE(openAndPoll());
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  fill(kRed, 100, 151, 50, 20);
  ASSERT_TRUE(pollUntil(Poll::changed));
  EXPECT_EQ(frame_.damage, std::vector{QRect(96, 144, 64, 32)});
  EXPECT_TRUE(shows(kRed, {100, 151, 50, 20}));
  EXPECT_TRUE(shows(kBlue, {0, 0, kWidth, 151}));
  EXPECT_TRUE(shows(kBlue, {150, 151, kWidth - 150, 89}));
}

TEST_P(X11BufferedScreenTest, readsWhatChangesAfterARest) {
  fillAll(kBlue);
  ASSERT_TRUE(openAndPoll());
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  EXPECT_EQ(capture_->wait(600ms, WakeOn::changeOrCall), ScreenCapture::Woken::timeout);
  fill(kRed, 100, 151, 50, 20);
  ASSERT_TRUE(pollUntil(Poll::changed));
  EXPECT_TRUE(shows(kRed, {100, 151, 50, 20}));
  EXPECT_TRUE(shows(kBlue, {96, 144, 64, 7}));
}

TEST_P(X11BufferedScreenTest, givesItsMemoryBackWhileTheScreenIsStill) {
  constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight * 4;
  const std::size_t before = allocated();
  ASSERT_TRUE(openAndPoll());
  EXPECT_GE(allocated(), before + kPixels);
  ASSERT_TRUE(pollUntil(Poll::unchanged));
  EXPECT_EQ(capture_->wait(600ms, WakeOn::changeOrCall), ScreenCapture::Woken::timeout);
  EXPECT_LT(allocated(), before + kPixels / 2);
}

TEST_P(X11BufferedScreenTest, followsAChangeOfTheScreensSize) {
  ASSERT_TRUE(openAndPoll());
  ASSERT_TRUE(testx11::resizeScreen(server_, 203, 151));
  fillAll(kRed);
  testloop::Timeout timeout;
  while (frame_.size.width() != 203 && !timeout.isOver()) (void)capture_->poll(frame_);
  ASSERT_EQ(frame_.size.width(), 203);
  ASSERT_EQ(frame_.size.height(), 151);
  EXPECT_TRUE(shows(kRed, {0, 0, 203, 151}));
}

INSTANTIATE_TEST_SUITE_P(Depths, X11ColourDepthTest,
                         testing::Values(Depth{"TrueColour8", 8, 85, {"-cc", "4"}}, Depth{"Depth15", 15, 8},
                                         Depth{"Depth16", 16, 8}, Depth{"Unshared16", 16, 8, {"-extension", "MIT-SHM"}},
                                         Depth{"Depth24", 24, 0}, Depth{"Depth30", 30, 1},
                                         Depth{"Unshared30", 30, 1, {"-extension", "MIT-SHM"}}),
                         [](const auto& each) { return std::string(each.param.name); });

INSTANTIATE_TEST_SUITE_P(Depths, X11BufferedScreenTest,
                         testing::Values(Depth{"Depth16", 16, 8}, Depth{"Unshared24", 24, 0, {"-extension", "MIT-SHM"}},
                                         Depth{"Unshared30", 30, 1, {"-extension", "MIT-SHM"}}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(X11ColourMapTest, refusesAScreenWithoutMasks) {
  const XvfbServer server(kWidth, kHeight, {"-screen", "0", "320x240x8", "-cc", "3"});
  ASSERT_TRUE(server.running());
  const ScreenCapture::Opened opened = makeX11ScreenCapture(server.display().toStdString())->open(0);
  EXPECT_EQ(opened.outcome, Outcome::refused);
  EXPECT_EQ(opened.error, QStringLiteral("the display does not allow its picture to be read"));
}

}  // namespace
}  // namespace vantora
