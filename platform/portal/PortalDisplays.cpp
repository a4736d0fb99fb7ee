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

void PortalDisplays::setStreams(const std::vector<PortalStream>& streams) {
  screens_.clear();
  frameSizes_.clear();
  for (const PortalStream& stream : streams) screens_.push_back({.displayId = ++lastId_, .stream = stream});
  update();
}

void PortalDisplays::setFrameSize(std::uint32_t node, QSize pixels) {
  const bool known = std::ranges::any_of(screens_, [node](const Screen& screen) { return screen.stream.node == node; });
  if (!known) return;
  frameSizes_[node] = pixels;
  update();
}

std::optional<PortalDisplays::Target> PortalDisplays::target(std::uint32_t displayId) const {
  const auto screen = std::ranges::find(screens_, displayId, &Screen::displayId);
  return screen == screens_.end() ? std::nullopt : std::optional(targetOf(screen->stream));
}

PortalDisplays::Target PortalDisplays::targetOf(const PortalStream& stream) const {
  const auto frame = frameSizes_.find(stream.node);
  const bool framed = frame != frameSizes_.end();
  const QSize layout = stream.size.value_or(framed ? frame->second : kUnknownSize);
  return {.node = stream.node, .layout = layout, .pixels = framed ? frame->second : layout};
}

void PortalDisplays::update() {
  std::vector<Display> displays;
  for (const auto& [id, stream] : screens_) {
    const Target target = targetOf(stream);
    const QPoint position = stream.position.value_or(QPoint(0, 0));
    const double scale = static_cast<double>(target.pixels.width()) / target.layout.width();
    Display display{.id = id,
                    .name = QStringLiteral("screen %1").arg(displays.size() + 1),
                    .bounds = QRect(scaled(position, scale), target.pixels),
                    .scale = scale};
    if (target.pixels != target.layout) display.frameInPoints = QRectF(position, target.layout);
    displays.push_back(display);
  }
  if (displays == displays_) return;
  displays_ = displays;
  known_.add(displays_);
  if (changed_) changed_();
}

}  // namespace vantora
