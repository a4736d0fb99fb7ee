// Quality presets and the figures derived from display sizes. Pure.
#pragma once

#include <QSize>
#include <QString>
#include <optional>

namespace vantora {

// What the encoder is asked for.
struct VideoTarget {
  int width = 1280;
  int height = 720;
  int fps = 30;
  int kbps = 3000;
  bool operator==(const VideoTarget&) const = default;
};

// Bounds of what a viewer can ask for: what the encoders and the machine's memory accept.
inline constexpr int kSmallestSide = 16;
inline constexpr int kWidest = 7680;
inline constexpr int kHighest = 4320;
inline constexpr int kFastest = 120;
inline constexpr int kLowestKbps = 1;
inline constexpr int kMostKbps = 2'000'000;

// The fixed preset `name`, compared exactly; any other name gives the figures of "medium".
VideoTarget presetTarget(const QString& name);
// What "auto" stands for on a first display of this height in points; none: there is no display.
QString pickAutoPreset(std::optional<int> firstDisplayHeight);
// "native" on a display of this size: its own size (at most 2160 high), 60 frames a second, a tenth
// of a bit per pixel within [6000, 40000] kbit/s.
VideoTarget nativeTarget(QSize display);
// The width, a multiple of 16, that follows the display's aspect ratio at `height`.
int widthForDisplay(QSize display, int height);
// Bit rate of "video_params" without one: a tenth of a bit per pixel within [2000, 40000] kbit/s.
int derivedKbps(int width, int height, int fps);

}  // namespace vantora
