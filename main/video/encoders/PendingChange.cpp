#include "main/video/encoders/PendingChange.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <optional>

namespace vantora {
namespace {

constexpr int kBlock = 16;

// From this share of changed blocks on, a search for moved content pays.
constexpr double kLargeChange = 0.1;

constexpr int blocksIn(int pixels) { return (pixels + kBlock - 1) / kBlock; }

}  // namespace

void PendingChange::add(ChangeDetector& changes, const webrtc::VideoFrame& frame,
                        const webrtc::I420BufferInterface& buffer, const webrtc::I420BufferInterface* shown) {
  const webrtc::VideoFrame::UpdateRect rect = frame.update_rect();
  if (!rect.IsEmpty()) area.Union(rect);
  const auto shareOf = [&](const webrtc::VideoFrame::UpdateRect& part) {
    const int blocks = (blocksIn(part.width) + 1) * (blocksIn(part.height) + 1);
    return static_cast<double>(blocks) / (blocksIn(buffer.width()) * blocksIn(buffer.height()));
  };
  const std::optional<int> scrolled = shareOf(rect) < kLargeChange ? std::nullopt : changes.scrolledBy(frame, buffer);
  double share = changes.changedShare(frame, buffer);
  if (share > 0) {
    const std::vector<bool>& rows = changes.changedBlockRows();
    touched.resize(rows.size());
    for (size_t row = 0; row < rows.size(); ++row) touched[row] = touched[row] || rows[row];
  }
  if (share == 0 && !rect.IsEmpty() && shown && !sameColours(*shown, buffer)) share = ChangeDetector::kColourShare;
  const double fresh = scrolled ? std::min(1.0, std::abs(*scrolled) / static_cast<double>(rect.height)) : 1;
  change.share = std::min({1.0, change.share + share, std::max(share, shareOf(area))});
  change.fresh = std::min(change.fresh + share * fresh, change.share);
  largestFresh = std::max(largestFresh, share * fresh);
  scrolledBy += scrolled.value_or(0);
  longestScroll = std::max(longestScroll, std::abs(scrolled.value_or(0)));
}

}  // namespace vantora
