// Quality presets and the values derived from display sizes. Pure.
#pragma once

#include <QSize>
#include <QString>
#include <optional>

namespace vantora {

// Size, frame rate and bit rate requested from the encoder.
struct VideoTarget {
  int width = 1280;
  int height = 720;
  int fps = 30;
  int kbps = 3000;
  bool operator==(const VideoTarget&) const = default;
};

// Bounds of a viewer's requests, set by the encoders and the machine's memory.
inline constexpr int kMinSide = 16;
inline constexpr int kMaxWidth = 7680;
inline constexpr int kMaxHeight = 4320;
inline constexpr int kMaxFps = 120;
inline constexpr int kMinKbps = 1;
inline constexpr int kMaxKbps = 2'000'000;

// The fixed preset `name`, compared exactly; any other name gives the values of "medium".
VideoTarget presetTarget(const QString& name);
// The preset that "auto" selects for a first display of this height in points; empty: there is no display.
QString pickAutoPreset(std::optional<int> firstDisplayHeight);
// "native" on a display of this size: its own size (at most 2160 high), 60 frames per second, a tenth of a bit per
// pixel within [6000, 40000] kbit/s.
VideoTarget nativeTarget(QSize display);
// The width, a multiple of 16, that follows the display's aspect ratio at `height`.
int widthForDisplay(QSize display, int height);
// Bit rate of "video_params" without one: a tenth of a bit per pixel within [2000, 40000] kbit/s.
int derivedKbps(int width, int height, int fps);

}  // namespace vantora
