#include "platform/portal/PortalDisplays.h"

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

// Portals that name no size: until the first frame.
constexpr QSize kUnknownSize(1920, 1080);

QPoint scaled(QPoint position, double scale) {
  return {static_cast<int>(std::lround(position.x() * scale)), static_cast<int>(std::lround(position.y() * scale))};
}

}  // namespace

void PortalDisplays::setStreams(std::vector<PortalStream> streams) {
  streams_ = std::move(streams);
  std::erase_if(frameSizes_, [this](const auto& known) {
    return std::ranges::none_of(streams_, [&known](const PortalStream& stream) { return stream.node == known.first; });
  });
  update();
}

void PortalDisplays::setFrameSize(std::uint32_t node, QSize pixels) {
  if (!layoutSize(node)) return;
  frameSizes_[node] = pixels;
  update();
}

std::optional<QSize> PortalDisplays::layoutSize(std::uint32_t node) const {
  const auto stream = std::ranges::find(streams_, node, &PortalStream::node);
  if (stream == streams_.end()) return std::nullopt;
  if (stream->size) return stream->size;
  const auto frame = frameSizes_.find(node);
  return frame == frameSizes_.end() ? kUnknownSize : frame->second;
}

void PortalDisplays::update() {
  std::vector<Display> displays;
  for (const PortalStream& stream : streams_) {
    const QSize layout = *layoutSize(stream.node);
    const auto frame = frameSizes_.find(stream.node);
    const QSize pixels = frame == frameSizes_.end() ? layout : frame->second;
    const QPoint position = stream.position.value_or(QPoint(0, 0));
    const double scale = static_cast<double>(pixels.width()) / layout.width();
    Display display{.id = stream.node,
                    .name = QStringLiteral("screen %1").arg(displays.size() + 1),
                    .bounds = QRect(scaled(position, scale), pixels),
                    .scale = scale};
    if (pixels != layout) display.frameInPoints = QRectF(position, layout);
    displays.push_back(display);
  }
  if (displays == displays_) return;
  displays_ = displays;
  known_.add(displays_);
  if (changed_) changed_();
}

}  // namespace vantora
