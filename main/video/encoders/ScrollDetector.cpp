#include "main/video/encoders/ScrollDetector.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace vantora {
namespace {

constexpr int kStrips = 6;
constexpr int kStripWidth = 64;
// Rows of a run. One row of a strip is often the same as another; a few together rarely are.
constexpr int kRun = 4;
constexpr int kNone = -1;
constexpr int kTwice = -2;
// Minimum number of runs that have moved by the same distance, and their share of all runs that differ and are not
// blank. New content has come in at the edge, and a menu or a picture beside the text may stand still.
constexpr int kMinVotes = 24;
constexpr double kShare = 0.4;

uint64_t mixed(uint64_t hash, uint64_t value) {
  constexpr uint64_t kFactor = 0x9e3779b97f4a7c15U;
  return (std::rotl(hash, 29) ^ value) * kFactor;
}

// Of every kRun rows from each row on of the strip that begins at `column`; 0 for rows without content.
void hashRuns(const ScrollDetector::Plane& plane, int column, std::vector<uint64_t>& hashes) {
  const auto rows = static_cast<size_t>(plane.height);
  hashes.resize(rows);
  for (size_t row = 0; row < rows; ++row) {
    const uint8_t* at = plane.luma + static_cast<std::ptrdiff_t>(row) * plane.stride + column;
    uint64_t first = 0;
    std::memcpy(&first, at, sizeof first);
    uint64_t hash = 1;
    uint64_t differs = first ^ std::rotl(first, 8);
    for (int i = 0; i < kStripWidth; i += static_cast<int>(sizeof first)) {
      uint64_t value = 0;
      std::memcpy(&value, at + i, sizeof value);
      hash = mixed(hash, value);
      differs |= value ^ first;
    }
    hashes[row] = differs ? hash : 0;
  }
  for (size_t row = 0; row < rows; ++row) {
    uint64_t hash = 0;
    bool blank = row + kRun > rows;
    for (size_t i = 0; i < kRun && !blank; ++i) {
      blank = hashes[row + i] == 0;
      hash = mixed(hash, hashes[row + i]);
    }
    hashes[row] = blank ? 0 : std::max<uint64_t>(hash, 1);
  }
}

}  // namespace

std::optional<int> ScrollDetector::find(const Plane& before, const Plane& after) {
  if (after.width < kSmallest || after.height < kSmallest) return std::nullopt;
  const auto rows = static_cast<size_t>(after.height);
  const size_t slots = std::bit_ceil(rows * 2);
  votes_.assign(2 * rows, 0);
  int differing = 0;
  for (int strip = 0; strip < kStrips; ++strip) {
    const int column = (after.width - kStripWidth) * (2 * strip + 1) / (2 * kStrips);
    hashRuns(before, column, hashes_[0]);
    hashRuns(after, column, hashes_[1]);
    runs_.assign(slots, Run{0, kNone});
    const auto slotOf = [&](uint64_t hash) {
      size_t slot = (hash >> 20) & (slots - 1);
      while (runs_[slot].row != kNone && runs_[slot].hash != hash) slot = (slot + 1) & (slots - 1);
      return slot;
    };
    for (size_t row = 0; row < rows; ++row) {
      if (hashes_[0][row] == 0) continue;
      Run& run = runs_[slotOf(hashes_[0][row])];
      run = {hashes_[0][row], run.row == kNone ? static_cast<int>(row) : kTwice};
    }
    for (size_t row = 0; row < rows; ++row) {
      if (hashes_[1][row] == 0 || hashes_[1][row] == hashes_[0][row]) continue;
      const int found = runs_[slotOf(hashes_[1][row])].row;
      if (found == kTwice) continue;
      ++differing;
      if (found >= 0) ++votes_[static_cast<size_t>(found) + rows - row];
    }
  }
  const auto best = std::ranges::max_element(votes_);
  if (*best < kMinVotes || *best < kShare * differing) return std::nullopt;
  return static_cast<int>(best - votes_.begin()) - static_cast<int>(rows);
}

}  // namespace vantora
