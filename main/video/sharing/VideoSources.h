// The two kinds of video source as sharing and quality see them.
#pragma once

#include <QString>
#include <functional>
#include <memory>

#include "main/rtc/VideoTrackSource.h"

namespace vantora {

// The synthetic test pattern. Main thread.
class SyntheticVideo : public VideoTrackSource {
 public:
  virtual void start() = 0;
  virtual void stop() = 0;
  // Whether frames can reach a viewer. False: none is passed to the encoder.
  virtual void setActive(bool active) = 0;
  // Whether this source has the track. False: it makes no frames, even if started. True at first.
  virtual void setOnTrack(bool onTrack) = 0;
};

// The captured screen. Main thread.
class ScreenVideo : public VideoTrackSource {
 public:
  // Called on the main thread when the attempt to start has ended, whatever its outcome; never after the object was
  // destroyed.
  using Done = std::function<void()>;
  virtual void start(Done done) = 0;
  virtual void reconfigure(int width, int height, int fps, Done done) = 0;
  virtual void setDisplayIndex(int index, Done done) = 0;
  virtual void stop() = 0;
  // False: nothing is captured. True again: a new frame at once.
  virtual void setActive(bool active) = 0;
  // Sends the current frame again at once.
  virtual void refresh() = 0;
  // Wall-clock time of the last captured frame in nanoseconds since 1970, 0 before the first.
  virtual qint64 lastCaptureWallNs() const = 0;
};

// Events of the captured screen. Called on the main thread; each may be empty.
struct ScreenEvents {
  // A permission is missing: its name.
  std::function<void(const QString& permission)> refused;
  // The captured display has another size than before, without having been requested.
  std::function<void()> resized;
};

struct VideoSourceFactory {
  std::function<std::unique_ptr<SyntheticVideo>(int fps, int width, int height)> synthetic;
  std::function<std::unique_ptr<ScreenVideo>(int width, int height, int fps, int displayIndex, ScreenEvents events)>
      screen;
};

}  // namespace vantora
