#include "main/video/sharing/DisplaySize.h"

namespace vantora {

QSize primaryDisplayPixelSize(const std::vector<Display>& displays, int index) {
  if (displays.empty()) return QSize(1280, 720);
  const bool known = index >= 0 && static_cast<std::size_t>(index) < displays.size();
  return displays[known ? static_cast<std::size_t>(index) : 0].bounds.size();
}

}  // namespace vantora
