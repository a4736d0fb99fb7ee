#include "main/video/sharing/FitSize.h"

#include <algorithm>

namespace vantora {

QSize fitToDisplay(QSize requested, QSize display) {
  int width = requested.width();
  int height = requested.height();
  if (display.width() < width || display.height() < height) {
    const double scale = std::min(static_cast<double>(display.width()) / std::max(width, 1),
                                  static_cast<double>(display.height()) / std::max(height, 1));
    width = std::max(static_cast<int>(scale * width), 16);
    height = std::max(static_cast<int>(scale * height), 16);
  }
  return {width - width % 2, height - height % 2};
}

}  // namespace vantora
