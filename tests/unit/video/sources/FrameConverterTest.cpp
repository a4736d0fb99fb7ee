#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <tuple>

#include "main/video/sources/FrameConverter.h"
#include "tests/unit/video/sources/SourceTesting.h"
#include "third_party/libyuv/include/libyuv/convert.h"
#include "third_party/libyuv/include/libyuv/rotate.h"
#include "third_party/libyuv/include/libyuv/scale.h"

namespace vantora {
namespace {

// A display with a random image and padded rows.
class Canvas {
 public:
  Canvas(int width, int height)
      : width_(width), height_(height), bytes_(static_cast<std::size_t>(stride()) * static_cast<std::size_t>(height)) {
    scribble(0, height);
  }
  void scribble(int top, int bottom) {
    for (int i = top * stride(); i < bottom * stride(); ++i) bytes_[static_cast<std::size_t>(i)] = noise();
  }
  void scribble(const QRect& rect) {
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
      const auto start = bytes_.begin() + static_cast<std::ptrdiff_t>(y) * stride() + rect.left() * std::ptrdiff_t{4};
      std::generate_n(start, rect.width() * 4, [this] { return noise(); });
    }
  }
  CapturedFrame capture(std::vector<QRect> damage) const {
    CapturedFrame frame;
    frame.memory = CpuPixels{bytes_.data(), stride()};
    frame.size = {width_, height_};
    frame.damage = std::move(damage);
    return frame;
  }
  CapturedFrame capture(int top, int bottom) const { return capture({QRect(0, top, width_, bottom - top)}); }
  CapturedFrame capture() const { return capture(0, height_); }
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }
  int stride() const { return width_ * 4 + 24; }

 private:
  std::uint8_t noise() { return static_cast<std::uint8_t>(random_()); }

  int width_;
  int height_;
  std::vector<std::uint8_t> bytes_;
  std::mt19937 random_{42};
};

rtc::scoped_refptr<webrtc::I420Buffer> whole(const CapturedFrame& captured) {
  const CpuPixels& pixels = std::get<CpuPixels>(captured.memory);
  auto frame = webrtc::I420Buffer::Create(captured.size.width(), captured.size.height());
  libyuv::ARGBToI420(pixels.data, pixels.stride, frame->MutableDataY(), frame->StrideY(), frame->MutableDataU(),
                     frame->StrideU(), frame->MutableDataV(), frame->StrideV(), frame->width(), frame->height());
  return frame;
}

rtc::scoped_refptr<webrtc::I420Buffer> scaled(const webrtc::I420Buffer& from, int width, int height) {
  auto to = webrtc::I420Buffer::Create(width, height);
  libyuv::I420Scale(from.DataY(), from.StrideY(), from.DataU(), from.StrideU(), from.DataV(), from.StrideV(),
                    from.width(), from.height(), to->MutableDataY(), to->StrideY(), to->MutableDataU(), to->StrideU(),
                    to->MutableDataV(), to->StrideV(), width, height, libyuv::kFilterBox);
  return to;
}

TEST(FrameConverter, convertsAnImageOfTheFramesSize) {
  for (const auto& [width, height] : {std::pair{320, 200}, {321, 201}, {17, 33}}) {
    const Canvas canvas(width, height);
    FrameConverter converter;
    converter.setFrameSize({width, height});
    const auto frame = converter.newFrame();
    ASSERT_TRUE(frame);
    converter.convert(canvas.capture(), frame);
    EXPECT_TRUE(testsupport::sameImage(*frame, *whole(canvas.capture())));
  }
}

TEST(FrameConverter, stretchesAnImageOfAnotherSize) {
  for (const auto& [width, height] : {std::pair{640, 480}, {1921, 1081}, {100, 100}}) {
    const Canvas canvas(width, height);
    FrameConverter converter;
    converter.setFrameSize({320, 180});
    const auto frame = converter.newFrame();
    ASSERT_TRUE(frame);
    converter.convert(canvas.capture(), frame);
    EXPECT_EQ(frame->width(), 320);
    EXPECT_EQ(frame->height(), 180);
    EXPECT_TRUE(testsupport::sameImage(*frame, *scaled(*whole(canvas.capture()), 320, 180)));
  }
}

TEST(FrameConverter, convertsOnlyChangedRowsAndStillShowsTheWholeImage) {
  Canvas canvas(333, 251);
  FrameConverter converter;
  converter.setFrameSize({160, 90});
  converter.convert(canvas.capture(), converter.newFrame());
  for (const auto& [top, bottom] : {std::pair{0, 1}, {1, 2}, {7, 20}, {8, 21}, {249, 251}, {250, 251}, {0, 251}}) {
    canvas.scribble(top, bottom);
    const auto frame = converter.newFrame();
    converter.convert(canvas.capture(top, bottom), frame);
    EXPECT_TRUE(testsupport::sameImage(*frame, *scaled(*whole(canvas.capture()), 160, 90))) << top << bottom;
  }
}

TEST(FrameConverter, takesUnchangedRowsFromTheFrameBefore) {
  Canvas canvas(333, 251);
  FrameConverter converter;
  converter.setFrameSize({333, 251});
  auto before = converter.newFrame();
  converter.convert(canvas.capture(), before);
  for (const auto& [top, bottom] : {std::pair{0, 1}, {1, 2}, {7, 20}, {8, 21}, {249, 251}, {250, 251}, {0, 251}}) {
    const auto untouched = webrtc::I420Buffer::Copy(*before);
    canvas.scribble(top, bottom);
    const auto frame = converter.newFrame();
    converter.convert(canvas.capture(top, bottom), frame);
    EXPECT_TRUE(testsupport::sameImage(*frame, *whole(canvas.capture()))) << top << " " << bottom;
    EXPECT_TRUE(testsupport::sameImage(*before, *untouched)) << "the encoder may still be reading it";
    before = frame;
  }
}

TEST(FrameConverter, convertsOnlyTheDamagedRectangles) {
  Canvas canvas(333, 251);
  FrameConverter converter;
  converter.setFrameSize({333, 251});
  auto before = converter.newFrame();
  EXPECT_EQ(converter.convert(canvas.capture(), before), QRect(0, 0, 333, 251));
  const std::vector<QRect> damage{QRect(3, 5, 10, 7), QRect(200, 100, 133, 151), QRect(332, 0, 1, 1)};
  for (const QRect& rect : damage) canvas.scribble(rect);
  const CapturedFrame captured = canvas.capture(damage);
  const auto expected = whole(captured);
  // What is not damaged is not read again: it would differ from what was captured.
  canvas.scribble(QRect(50, 50, 40, 20));
  const auto frame = converter.newFrame();
  EXPECT_EQ(converter.convert(captured, frame), QRect(2, 0, 331, 251));
  EXPECT_TRUE(testsupport::sameImage(*frame, *expected));
}

// Every other row, as scrolling text damages them: one pass is cheaper than many.
TEST(FrameConverter, convertsManyRectanglesThatFillHalfOfTheirBoundsAsOne) {
  for (const QSize& size : {QSize(333, 251), QSize(160, 90)}) {
    Canvas canvas(333, 251);
    FrameConverter converter;
    converter.setFrameSize(size);
    converter.convert(canvas.capture(), converter.newFrame());
    std::vector<QRect> damage;
    for (int y = 10; y < 210; y += 20) damage.emplace_back(11, y, 300, 10);
    canvas.scribble(QRect(11, 10, 300, 200));
    const auto frame = converter.newFrame();
    const auto changed = converter.convert(canvas.capture(damage), frame);
    ASSERT_TRUE(changed);
    if (size == QSize(333, 251)) {
      EXPECT_EQ(*changed, QRect(10, 10, 302, 190));
    }
    // What lies between them is read as well.
    canvas.scribble(QRect(11, 200, 300, 10));
    const auto next = converter.newFrame();
    converter.convert(canvas.capture(200, 210), next);
    const auto expected = whole(canvas.capture());
    EXPECT_TRUE(testsupport::sameImage(
        *next, size == QSize(333, 251) ? *expected : *scaled(*expected, size.width(), size.height())));
  }
}

TEST(FrameConverter, readsNothingBetweenRectanglesWhereTheImageIsUndefined) {
  Canvas canvas(64, 48);
  FrameConverter converter;
  converter.setFrameSize({64, 48});
  converter.convert(canvas.capture(), converter.newFrame());
  const std::vector<QRect> damage{QRect(0, 0, 64, 20), QRect(0, 28, 64, 20)};
  for (const QRect& rect : damage) canvas.scribble(rect);
  CapturedFrame captured = canvas.capture(damage);
  captured.complete = false;
  const auto expected = whole(captured);
  canvas.scribble(QRect(0, 20, 64, 8));
  const auto frame = converter.newFrame();
  EXPECT_EQ(converter.convert(captured, frame), QRect(0, 0, 64, 48));
  EXPECT_TRUE(testsupport::sameImage(*frame, *expected));
}

// Two corners have the whole image as their bounds.
TEST(FrameConverter, keepsWhatLiesBetweenFewRectangles) {
  Canvas canvas(64, 48);
  FrameConverter converter;
  converter.setFrameSize({64, 48});
  converter.convert(canvas.capture(), converter.newFrame());
  const std::vector<QRect> damage{QRect(0, 0, 2, 2), QRect(62, 46, 2, 2)};
  for (const QRect& rect : damage) canvas.scribble(rect);
  const CapturedFrame captured = canvas.capture(damage);
  const auto expected = whole(captured);
  canvas.scribble(QRect(20, 20, 8, 8));
  const auto frame = converter.newFrame();
  EXPECT_EQ(converter.convert(captured, frame), QRect(0, 0, 64, 48));
  EXPECT_TRUE(testsupport::sameImage(*frame, *expected));
}

TEST(FrameConverter, reportsThatNothingChanged) {
  const Canvas canvas(64, 48);
  for (const QSize& size : {QSize(64, 48), QSize(32, 24)}) {
    FrameConverter converter;
    converter.setFrameSize(size);
    EXPECT_EQ(converter.convert(canvas.capture(), converter.newFrame()), QRect(QPoint(0, 0), size));
    const auto changed = converter.convert(canvas.capture(std::vector<QRect>()), converter.newFrame());
    ASSERT_TRUE(changed);
    EXPECT_TRUE(changed->isEmpty());
  }
}

// Outside the rectangle the frames are the same, bit for bit.
TEST(FrameConverter, reportsWhereAScaledFrameChanged) {
  for (const QSize& size : {QSize(160, 90), QSize(500, 400), QSize(332, 250)}) {
    Canvas canvas(333, 251);
    FrameConverter converter;
    converter.setFrameSize(size);
    auto before = converter.newFrame();
    converter.convert(canvas.capture(), before);
    for (const QRect& rect :
         {QRect(0, 0, 1, 1), QRect(100, 77, 13, 21), QRect(332, 250, 1, 1), QRect(0, 120, 333, 2)}) {
      canvas.scribble(rect);
      const auto frame = converter.newFrame();
      const auto changed = converter.convert(canvas.capture(std::vector{rect}), frame);
      ASSERT_TRUE(changed);
      EXPECT_TRUE(QRect(QPoint(0, 0), size).contains(*changed));
      for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
          if (changed->contains(x, y)) continue;
          ASSERT_EQ(frame->DataY()[y * frame->StrideY() + x], before->DataY()[y * before->StrideY() + x])
              << x << ' ' << y;
        }
      }
      before = frame;
    }
  }
}

TEST(FrameConverter, readsBothOrdersOfColours) {
  const Canvas canvas(32, 16);
  CapturedFrame captured = canvas.capture();
  captured.format = PixelFormat::rgbx;
  FrameConverter converter;
  converter.setFrameSize({32, 16});
  const auto frame = converter.newFrame();
  converter.convert(captured, frame);
  EXPECT_FALSE(testsupport::sameImage(*frame, *whole(captured)));
  std::vector<std::uint8_t> swapped = canvas.bytes();
  for (std::size_t i = 0; i + 2 < swapped.size(); i += 4) std::swap(swapped[i], swapped[i + 2]);
  captured.memory = CpuPixels{swapped.data(), canvas.stride()};
  EXPECT_TRUE(testsupport::sameImage(*frame, *whole(captured)));
}

TEST(FrameConverter, turnsAnImageUpright) {
  const Canvas canvas(40, 20);
  for (const auto& [degrees, size, rotation] :
       {std::tuple(90, QSize(20, 40), libyuv::kRotate90), std::tuple(180, QSize(40, 20), libyuv::kRotate180),
        std::tuple(270, QSize(20, 40), libyuv::kRotate270)}) {
    CapturedFrame captured = canvas.capture();
    const auto flat = whole(captured);
    captured.rotationDegrees = degrees;
    FrameConverter converter;
    converter.setFrameSize(size);
    const auto frame = converter.newFrame();
    EXPECT_EQ(converter.convert(captured, frame), QRect(QPoint(0, 0), size));
    auto turned = webrtc::I420Buffer::Create(size.width(), size.height());
    libyuv::I420Rotate(flat->DataY(), flat->StrideY(), flat->DataU(), flat->StrideU(), flat->DataV(), flat->StrideV(),
                       turned->MutableDataY(), turned->StrideY(), turned->MutableDataU(), turned->StrideU(),
                       turned->MutableDataV(), turned->StrideV(), 40, 20, rotation);
    EXPECT_TRUE(testsupport::sameImage(*frame, *turned)) << degrees;
  }
}

TEST(FrameConverter, mirrorsBeforeItTurns) {
  const Canvas canvas(40, 20);
  CapturedFrame captured = canvas.capture();
  const auto flat = whole(captured);
  captured.mirrored = true;
  FrameConverter converter;
  converter.setFrameSize({40, 20});
  const auto mirrored = converter.newFrame();
  EXPECT_EQ(converter.convert(captured, mirrored), QRect(0, 0, 40, 20));
  captured.rotationDegrees = 90;
  converter.setFrameSize({20, 40});
  const auto turned = converter.newFrame();
  EXPECT_EQ(converter.convert(captured, turned), QRect(0, 0, 20, 40));
  const auto luma = [](const webrtc::I420Buffer& frame, int x, int y) {
    return frame.DataY()[y * frame.StrideY() + x];
  };
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 40; ++x) {
      ASSERT_EQ(luma(*mirrored, 39 - x, y), luma(*flat, x, y)) << x << ", " << y;
      ASSERT_EQ(luma(*turned, 19 - y, 39 - x), luma(*flat, x, y)) << x << ", " << y;
    }
  }
}

TEST(FrameConverter, readsPixelsBehindADescriptor) {
  const Canvas canvas(64, 48);
  constexpr std::uint32_t kOffset = 4096;
  const int descriptor = ::memfd_create("pixels", MFD_CLOEXEC);
  ASSERT_GE(descriptor, 0);
  ASSERT_EQ(::pwrite(descriptor, canvas.bytes().data(), canvas.bytes().size(), kOffset),
            static_cast<ssize_t>(canvas.bytes().size()));
  CapturedFrame captured = canvas.capture();
  captured.memory = DmaBufPixels{descriptor, kOffset, static_cast<std::uint32_t>(canvas.stride())};
  FrameConverter converter;
  converter.setFrameSize({64, 48});
  const auto frame = converter.newFrame();
  EXPECT_EQ(converter.convert(captured, frame), QRect(0, 0, 64, 48));
  EXPECT_TRUE(testsupport::sameImage(*frame, *whole(canvas.capture())));
  captured.memory = DmaBufPixels{descriptor, kOffset, static_cast<std::uint32_t>(canvas.stride()), 1};
  EXPECT_EQ(converter.convert(captured, converter.newFrame()), std::nullopt) << "not laid out in rows";
  captured.memory = DmaBufPixels{-1};
  EXPECT_EQ(converter.convert(captured, converter.newFrame()), std::nullopt);
  ::close(descriptor);
}

TEST(FrameConverter, convertsEverythingAfterAFrameThatCouldNotBeRead) {
  for (const QSize& size : {QSize(64, 48), QSize(32, 24)}) {
    Canvas canvas(64, 48);
    FrameConverter converter;
    converter.setFrameSize(size);
    converter.convert(canvas.capture(), converter.newFrame());
    canvas.scribble(0, 20);
    CapturedFrame lost = canvas.capture(0, 20);
    lost.memory = DmaBufPixels{};
    ASSERT_EQ(converter.convert(lost, converter.newFrame()), std::nullopt);
    canvas.scribble(30, 40);
    const auto frame = converter.newFrame();
    EXPECT_EQ(converter.convert(canvas.capture(30, 40), frame), QRect(QPoint(0, 0), size));
    const auto expected = whole(canvas.capture());
    EXPECT_TRUE(testsupport::sameImage(
        *frame, size == QSize(64, 48) ? *expected : *scaled(*expected, size.width(), size.height())));
  }
}

TEST(FrameConverter, startsAgainWhenTheFramesSizeComesBack) {
  Canvas canvas(64, 48);
  FrameConverter converter;
  converter.setFrameSize({64, 48});
  converter.convert(canvas.capture(), converter.newFrame());
  converter.setFrameSize({32, 24});
  canvas.scribble(0, 20);
  converter.convert(canvas.capture(0, 20), converter.newFrame());
  converter.setFrameSize({64, 48});
  canvas.scribble(30, 40);
  const auto frame = converter.newFrame();
  converter.convert(canvas.capture(30, 40), frame);
  EXPECT_TRUE(testsupport::sameImage(*frame, *whole(canvas.capture())));
}

TEST(FrameConverter, convertsEverythingWhenTheDisplayChangesItsSize) {
  FrameConverter converter;
  converter.setFrameSize({160, 90});
  const Canvas before(640, 480);
  converter.convert(before.capture(), converter.newFrame());
  const Canvas after(800, 600);
  const auto frame = converter.newFrame();
  converter.convert(after.capture(10, 20), frame);
  EXPECT_TRUE(testsupport::sameImage(*frame, *scaled(*whole(after.capture()), 160, 90)));
}

TEST(FrameConverter, ignoresRowsOutsideTheImage) {
  const Canvas canvas(64, 48);
  FrameConverter converter;
  converter.setFrameSize({32, 24});
  const auto frame = converter.newFrame();
  converter.convert(canvas.capture(), frame);
  converter.convert(canvas.capture(-10, 1000), frame);
  converter.convert(canvas.capture(60, 20), frame);
  EXPECT_TRUE(testsupport::sameImage(*frame, *scaled(*whole(canvas.capture()), 32, 24)));
}

TEST(FrameConverter, makesABoundedNumberOfFrames) {
  FrameConverter converter;
  converter.setFrameSize({64, 64});
  std::vector<rtc::scoped_refptr<webrtc::I420Buffer>> held;
  while (auto frame = converter.newFrame()) {
    held.push_back(frame);
    ASSERT_LE(held.size(), 6u);
  }
  held.pop_back();
  EXPECT_TRUE(converter.newFrame());
}

}  // namespace
}  // namespace vantora
