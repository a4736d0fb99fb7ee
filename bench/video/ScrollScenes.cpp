#include "bench/video/ScrollScenes.h"

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace vantora::bench {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr int kPageRows = 2 * kHeight;
constexpr int kSquare = 64;
constexpr int kFontPixels = 14;
constexpr int kLetterWidth = 8;
constexpr int kLineHeight = 18;

constexpr uint8_t lumaOf(int grey) { return static_cast<uint8_t>(16 + grey * 219 / 255); }

std::vector<uint8_t> lumaOf(const QImage& image) {
  std::vector<uint8_t> luma(static_cast<size_t>(image.width()) * static_cast<size_t>(image.height()));
  auto* to = luma.data();
  for (int y = 0; y < image.height(); ++y) {
    const uchar* from = image.constScanLine(y);
    for (int x = 0; x < image.width(); ++x) *to++ = lumaOf(from[x]);
  }
  return luma;
}

QImage drawnText(int width, int height, unsigned seed) {
  QImage image(width, height, QImage::Format_Grayscale8);
  image.fill(Qt::white);
  QPainter painter(&image);
  QFont font(u"DejaVu Sans Mono"_s);
  font.setPixelSize(kFontPixels);
  painter.setFont(font);
  const QFontMetrics metrics(font);
  const int columns = width / metrics.horizontalAdvance(u'm') + 1;
  std::mt19937 random(seed);
  for (int y = 0; y < height; y += kLineHeight) {
    QString line;
    while (line.size() < columns) {
      for (unsigned length = 2 + random() % 9; length > 0; --length)
        line += QLatin1Char(static_cast<char>('a' + random() % 26));
      line += u' ';
    }
    painter.drawText(0, y + metrics.ascent(), line.left(columns));
  }
  return image;
}

rtc::scoped_refptr<webrtc::I420Buffer> grey() {
  const auto buffer = webrtc::I420Buffer::Create(kWidth, kHeight);
  webrtc::I420Buffer::SetBlack(buffer.get());
  return buffer;
}

uint8_t* rowOf(webrtc::I420Buffer& buffer, int y) { return buffer.MutableDataY() + y * buffer.StrideY(); }

Picture pictureOf(const std::vector<uint8_t>& luma) {
  const auto buffer = grey();
  for (int y = 0; y < kHeight; ++y) std::memcpy(rowOf(*buffer, y), &luma[static_cast<size_t>(y) * kWidth], kWidth);
  return buffer;
}

}  // namespace

double psnr(const webrtc::I420BufferInterface& shown, const webrtc::I420BufferInterface& wanted) {
  int64_t sum = 0;
  for (int y = 0; y < wanted.height(); ++y) {
    const uint8_t* a = shown.DataY() + y * shown.StrideY();
    const uint8_t* b = wanted.DataY() + y * wanted.StrideY();
    int row = 0;
    for (int x = 0; x < wanted.width(); ++x) row += (a[x] - b[x]) * (a[x] - b[x]);
    sum += row;
  }
  return 10 * std::log10(255.0 * 255 * wanted.width() * wanted.height() / std::max(static_cast<double>(sum), 1.0));
}

TextScene::TextScene(unsigned page, int rows, int period)
    : luma_(lumaOf(drawnText(kWidth, kPageRows, page))), rows_(rows), period_(period) {}

Rect TextScene::step() {
  if (++steps_ % period_ != 0) return {0, 0, 0, 0};
  offset_ = (offset_ + rows_) % kPageRows;
  return {0, 0, kWidth, kHeight};
}

Picture TextScene::picture() const {
  const auto buffer = grey();
  for (int y = 0; y < kHeight; ++y)
    std::memcpy(rowOf(*buffer, y), &luma_[static_cast<size_t>((y + offset_) % kPageRows) * kWidth], kWidth);
  const uint8_t shade = lumaOf(steps_ / period_ / 23 % 2 ? 255 : 0);
  for (int y = 0; y < kSquare; ++y) std::memset(rowOf(*buffer, y) + kWidth - kSquare, shade, kSquare);
  return buffer;
}

namespace {

constexpr int kWindowWidth = 800;
constexpr int kWindowHeight = 500;

struct Place {
  int x;
  int y;
};

// Goes around an ellipse in five seconds.
Place placeOf(int step) {
  const double angle = step * 2 * M_PI / (5 * kFps);
  return {560 + static_cast<int>(500 * std::cos(angle)), 290 + static_cast<int>(270 * std::sin(angle))};
}

}  // namespace

WindowScene::WindowScene() : window_(lumaOf(drawnText(kWindowWidth, kWindowHeight, 3))) {
  QImage desktop(kWidth, kHeight, QImage::Format_Grayscale8);
  for (int y = 0; y < kHeight; ++y) std::memset(desktop.scanLine(y), 60 + y * 100 / kHeight, kWidth);
  QPainter painter(&desktop);
  painter.drawImage(100, 700, drawnText(600, 300, 4));
  painter.end();
  desktop_ = lumaOf(desktop);
  for (int y = 0; y < kWindowHeight; ++y) {
    uint8_t* row = &window_[static_cast<size_t>(y) * kWindowWidth];
    if (y < 24) std::memset(row, 90, kWindowWidth);
    row[0] = row[kWindowWidth - 1] = 30;
  }
}

Rect WindowScene::step() {
  const Place before = placeOf(steps_++);
  const Place after = placeOf(steps_);
  const int left = std::min(before.x, after.x);
  const int top = std::min(before.y, after.y);
  return {left, top, std::max(before.x, after.x) + kWindowWidth - left,
          std::max(before.y, after.y) + kWindowHeight - top};
}

Picture WindowScene::picture() const {
  std::vector<uint8_t> luma = desktop_;
  const Place place = placeOf(steps_);
  for (int y = 0; y < kWindowHeight; ++y) {
    std::memcpy(&luma[static_cast<size_t>(place.y + y) * kWidth + static_cast<size_t>(place.x)],
                &window_[static_cast<size_t>(y) * kWindowWidth], kWindowWidth);
  }
  return pictureOf(luma);
}

PhotoScene::PhotoScene() : luma_(static_cast<size_t>(kWidth) * kHeight) {
  std::mt19937 random(5);
  std::normal_distribution<double> grain(0, 3);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double u = x / 200.0;
      const double v = y / 200.0;
      const double shade = 120 + 50 * std::sin(u + std::sin(v * 1.7)) * std::cos(v - std::cos(u * 0.6)) +
                           25 * std::sin(u * v * 1.3) + 12 * std::sin(u * 9 + v * 5) + grain(random);
      luma_[static_cast<size_t>(y) * kWidth + static_cast<size_t>(x)] =
          lumaOf(std::clamp(static_cast<int>(shade), 0, 255));
    }
  }
}

Picture PhotoScene::picture() const { return pictureOf(luma_); }

TypingScene::TypingScene()
    : luma_(lumaOf(drawnText(kWidth, kHeight, 8))), typed_(lumaOf(drawnText(kWidth, kHeight, 9))) {
  // An empty half to type into.
  std::fill(luma_.begin() + static_cast<std::ptrdiff_t>(luma_.size() / 2), luma_.end(), lumaOf(255));
}

Rect TypingScene::step() {
  constexpr int kStepsOfLetter = kFps / 8;
  if (steps_++ % kStepsOfLetter != 0) return {0, 0, 0, 0};
  const int letter = steps_ / kStepsOfLetter;
  const Rect place{letter % 200 * kLetterWidth, 31 * kLineHeight + letter / 200 * kLineHeight, kLetterWidth,
                   kLineHeight};
  for (int y = place.offset_y; y < place.offset_y + place.height; ++y) {
    const size_t at = static_cast<size_t>(y) * kWidth + static_cast<size_t>(place.offset_x);
    std::memcpy(&luma_[at], &typed_[at], static_cast<size_t>(place.width));
  }
  return place;
}

Picture TypingScene::picture() const { return pictureOf(luma_); }

}  // namespace vantora::bench
