#include "platform/portal/cursor/CursorNames.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <span>

namespace vantora {
namespace {

// Of the visible parts of two drawings: 0 for the same one. In the usual themes scaling makes a difference of up to
// 0.1, or 0.2 for thin lines without smoothing; drawings of different cursors begin to be alike at 0.2.
constexpr float kMaxDifference = 0.17F;
// With another hot spot. Compositors report that of the last cursor for a moment.
constexpr float kMaxDifferenceElsewhere = 0.1F;
// Scaling moves the hot spot to another pixel.
constexpr float kHotSpotPixels = 1.5F;
// The frames of an animation are similar.
constexpr std::size_t kDrawingsOfAnimation = 8;
constexpr std::size_t kCells = 16;
constexpr std::size_t kRow = 4 * kCells;
constexpr float kMaxStretch = 0.1F;

// FNV-1a, a word at a time. Without the hot spot, which may be that of the last cursor.
std::uint64_t hashOf(const CursorBitmap& image) {
  std::uint64_t hash = 14695981039346656037ULL;
  const auto add = [&hash](std::uint32_t word) {
    hash = (hash ^ word) * 1099511628211ULL;
    hash ^= hash >> 32;  // The multiplication spreads differences to higher bits only.
  };
  add(static_cast<std::uint32_t>(image.size.width()));
  add(static_cast<std::uint32_t>(image.size.height()));
  for (const std::uint32_t pixel : image.pixels) add(pixel);
  return hash;
}

// Each number becomes the average of itself, twice, and of those `step` before and after it, if they are in the same
// row of cells or column.
void blur(std::span<float> cells, std::size_t step) {
  const std::vector<float> sharp(cells.begin(), cells.end());
  const std::size_t line = step == 4 ? kRow : cells.size();
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::size_t place = i % line;
    const float before = place >= step ? sharp[i - step] : 0;
    const float after = place + step < line ? sharp[i + step] : 0;
    cells[i] = (before + 2 * sharp[i] + after) / 4;
  }
}

}  // namespace

bool CursorNames::usable(const CursorBitmap& image) {
  const auto [width, height] = std::pair(image.size.width(), image.size.height());
  if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) return false;
  return image.pixels.size() == static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

void CursorNames::add(const QString& name, const std::vector<CursorBitmap>& frames) {
  const std::size_t step = std::max<std::size_t>(1, frames.size() / kDrawingsOfAnimation);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (!usable(frames[i])) continue;
    if (names_.empty() || names_.back() != name) names_.push_back(name);
    const auto index = static_cast<std::uint32_t>(names_.size() - 1);
    if (!exact_.emplace(hashOf(frames[i]), index).second || i % step != 0) continue;
    drawings_.push_back(drawingOf(frames[i]));
    drawings_.back().name = index;
  }
}

QString CursorNames::find(const CursorBitmap& image) const {
  if (!usable(image)) return {};
  QString name = findAsItIs(image);
  if (!name.isEmpty() || image.size.width() == 1) return name;
  // On screens with an odd scale mutter 43 reports images one pixel wider than the rows it writes.
  CursorBitmap narrower = image;
  narrower.size.rwidth() -= 1;
  narrower.pixels.resize(static_cast<std::size_t>(narrower.size.width()) *
                         static_cast<std::size_t>(narrower.size.height()));
  return findAsItIs(narrower);
}

QString CursorNames::findAsItIs(const CursorBitmap& image) const {
  if (const auto same = exact_.find(hashOf(image)); same != exact_.end()) return names_[same->second];
  const Drawing drawing = drawingOf(image);
  if (drawing.ink == 0) return {};
  const Drawing* best = nullptr;
  float least = kMaxDifference;
  for (const Drawing& each : drawings_) {
    if (std::abs(each.width - drawing.width) > kMaxStretch * drawing.width) continue;
    const float reach = kHotSpotPixels * std::max(each.pixel, drawing.pixel);
    const bool sameSpot = std::abs(each.hotX - drawing.hotX) <= reach && std::abs(each.hotY - drawing.hotY) <= reach;
    const float differs = difference(each, drawing);
    if (differs >= least || (!sameSpot && differs > kMaxDifferenceElsewhere)) continue;
    least = differs;
    best = &each;
  }
  return best != nullptr ? names_[best->name] : QString();
}

CursorNames::Drawing CursorNames::drawingOf(const CursorBitmap& image) {
  Drawing drawing{};
  const int width = image.size.width();
  const int height = image.size.height();
  drawing.width = static_cast<float>(width) / static_cast<float>(height);
  drawing.pixel = 1.0F / static_cast<float>(std::min(width, height));
  drawing.hotX = (static_cast<float>(image.hotSpot.x()) + 0.5F) / static_cast<float>(width);
  drawing.hotY = (static_cast<float>(image.hotSpot.y()) + 0.5F) / static_cast<float>(height);

  // The share of each pixel in each cell, per axis: a cell of a small image is less than a pixel.
  struct Share {
    int pixel;
    int cell;
    float part;
  };
  const auto sharesOf = [](int pixels) {
    std::vector<Share> shares;
    for (int cell = 0; cell < kCells; ++cell) {
      const float from = static_cast<float>(cell * pixels) / kCells;
      const float to = static_cast<float>((cell + 1) * pixels) / kCells;
      for (int pixel = static_cast<int>(from); pixel < pixels && static_cast<float>(pixel) < to; ++pixel) {
        const float part = std::min(to, static_cast<float>(pixel + 1)) - std::max(from, static_cast<float>(pixel));
        if (part > 0) shares.push_back({pixel, cell, part / (to - from)});
      }
    }
    return shares;
  };
  const auto columns = sharesOf(width);
  std::array<float, 4UL * kCells * kCells> sums{};
  for (const Share& row : sharesOf(height)) {
    const std::uint32_t* const pixels =
        image.pixels.data() + static_cast<std::size_t>(row.pixel) * static_cast<std::size_t>(width);
    for (const Share& column : columns) {
      const std::uint32_t pixel = pixels[column.pixel];
      if (pixel == 0) continue;
      float* const cell = &sums[4UL * static_cast<std::size_t>(row.cell * kCells + column.cell)];
      for (unsigned channel = 0; channel < 4; ++channel) {
        cell[channel] += row.part * column.part * static_cast<float>(pixel >> (8 * channel) & 0xff);
      }
    }
  }
  // Thin lines move by a part of a pixel when they are scaled: compare what is about the same place.
  blur(sums, 4);
  blur(sums, kRow);
  for (std::size_t i = 0; i < sums.size(); ++i) {
    drawing.cells[i] = static_cast<std::uint8_t>(std::lround(std::min(sums[i], 255.0F)));
    if (i % 4 == 3) drawing.ink += drawing.cells[i];
  }
  return drawing;
}

float CursorNames::difference(const Drawing& one, const Drawing& other) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < one.cells.size(); ++i) {
    sum += static_cast<std::uint32_t>(std::abs(one.cells[i] - other.cells[i]));
  }
  return static_cast<float>(sum) / (4.0F * static_cast<float>(std::max({one.ink, other.ink, 1U})));
}

std::size_t CursorNames::memory() const {
  return drawings_.capacity() * sizeof(Drawing) + exact_.size() * 32 + names_.size() * 64;
}

}  // namespace vantora
