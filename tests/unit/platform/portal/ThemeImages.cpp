#include "tests/unit/platform/portal/ThemeImages.h"

#include <X11/Xcursor/Xcursor.h>

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

double channelAt(const CursorBitmap& image, int x, int y, unsigned channel) {
  x = std::clamp(x, 0, image.size.width() - 1);
  y = std::clamp(y, 0, image.size.height() - 1);
  return image.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(image.size.width()) +
                      static_cast<std::size_t>(x)] >>
             (8 * channel) &
         0xff;
}

// At a place between the middles of pixels.
double linear(const CursorBitmap& image, double x, double y, unsigned channel) {
  const int left = static_cast<int>(std::floor(x));
  const int top = static_cast<int>(std::floor(y));
  const double right = x - left;
  const double bottom = y - top;
  return (1 - bottom) *
             ((1 - right) * channelAt(image, left, top, channel) + right * channelAt(image, left + 1, top, channel)) +
         bottom * ((1 - right) * channelAt(image, left, top + 1, channel) +
                   right * channelAt(image, left + 1, top + 1, channel));
}

}  // namespace

std::vector<CursorBitmap> themeImages(const std::string& theme, const std::string& name, int size) {
  std::vector<CursorBitmap> frames;
  XcursorImages* const images = XcursorLibraryLoadImages(name.c_str(), theme.c_str(), size);
  if (images == nullptr) return frames;
  for (int i = 0; i < images->nimage; ++i) {
    const XcursorImage& image = *images->images[i];
    frames.push_back({{static_cast<int>(image.width), static_cast<int>(image.height)},
                      {static_cast<int>(image.xhot), static_cast<int>(image.yhot)},
                      {image.pixels, image.pixels + static_cast<std::size_t>(image.width) * image.height}});
  }
  XcursorImagesDestroy(images);
  return frames;
}

CursorBitmap scaled(const CursorBitmap& image, double factor, Filter filter) {
  CursorBitmap result;
  result.size = {static_cast<int>(std::lround(image.size.width() * factor)),
                 static_cast<int>(std::lround(image.size.height() * factor))};
  result.hotSpot = {static_cast<int>(std::lround(image.hotSpot.x() * factor)),
                    static_cast<int>(std::lround(image.hotSpot.y() * factor))};
  for (int y = 0; y < result.size.height(); ++y) {
    for (int x = 0; x < result.size.width(); ++x) {
      const double fromX = (x + 0.5) / factor;
      const double fromY = (y + 0.5) / factor;
      std::uint32_t pixel = 0;
      for (unsigned channel = 0; channel < 4; ++channel) {
        const double value = filter == Filter::linear
                                 ? linear(image, fromX - 0.5, fromY - 0.5, channel)
                                 : channelAt(image, static_cast<int>(fromX), static_cast<int>(fromY), channel);
        pixel |= static_cast<std::uint32_t>(std::lround(value)) << (8 * channel);
      }
      result.pixels.push_back(pixel);
    }
  }
  return result;
}

}  // namespace vantora
