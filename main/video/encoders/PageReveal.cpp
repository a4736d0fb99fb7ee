#include "main/video/encoders/PageReveal.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace vantora {
namespace {

constexpr int kBlock = 16;

// Replaces each square of `side` within the rows from `top` to `bottom` by its mean.
void flatten(uint8_t* plane, int stride, int width, int top, int bottom, int side) {
  for (int y = top; y < bottom; y += side) {
    const int height = std::min(side, bottom - y);
    for (int x = 0; x < width; x += side) {
      const int columns = std::min(side, width - x);
      int sum = 0;
      for (int row = 0; row < height; ++row) {
        const uint8_t* at = plane + static_cast<std::ptrdiff_t>(y + row) * stride + x;
        for (int column = 0; column < columns; ++column) sum += at[column];
      }
      const int mean = sum / (height * columns);
      for (int row = 0; row < height; ++row) {
        std::memset(plane + static_cast<std::ptrdiff_t>(y + row) * stride + x, mean, static_cast<size_t>(columns));
      }
    }
  }
}

}  // namespace

void PageReveal::start(int height) { hidden_.assign(static_cast<size_t>((height + kBlock - 1) / kBlock), true); }

int PageReveal::hidden() const { return static_cast<int>(std::ranges::count(hidden_, true)); }

void PageReveal::endIfShown() {
  if (hidden() == 0) end();
}

void PageReveal::show(int rows) {
  for (size_t row = 0; row < hidden_.size() && rows > 0; ++row) {
    if (!hidden_[row]) continue;
    hidden_[row] = false;
    --rows;
  }
  endIfShown();
}

int PageReveal::showTouched(const std::vector<bool>& touched) {
  int shown = 0;
  for (size_t row = 0; row < std::min(touched.size(), hidden_.size()); ++row) {
    if (!touched[row] || !hidden_[row]) continue;
    ++shown;
    hidden_[row] = false;
  }
  endIfShown();
  return shown;
}

rtc::scoped_refptr<webrtc::I420BufferInterface> PageReveal::source(const webrtc::I420BufferInterface& page) const {
  const auto buffer = webrtc::I420Buffer::Copy(page);
  for (size_t row = 0; row < hidden_.size(); ++row) {
    if (!hidden_[row]) continue;
    const int top = static_cast<int>(row) * kBlock;
    const int bottom = std::min(top + kBlock, page.height());
    flatten(buffer->MutableDataY(), buffer->StrideY(), page.width(), top, bottom, kBlock);
    const int chromaBottom = std::min((bottom + 1) / 2, buffer->ChromaHeight());
    flatten(buffer->MutableDataU(), buffer->StrideU(), buffer->ChromaWidth(), top / 2, chromaBottom, kBlock / 2);
    flatten(buffer->MutableDataV(), buffer->StrideV(), buffer->ChromaWidth(), top / 2, chromaBottom, kBlock / 2);
  }
  return buffer;
}

}  // namespace vantora
