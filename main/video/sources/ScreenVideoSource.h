// The screen as a video source.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/Lifetime.h"
#include "base/ThreadAffinity.h"
#include "main/video/sharing/VideoSources.h"
#include "platform/ScreenCapture.h"

namespace vantora {

// Captures one display as video frames of a set size: at once when the display changes, at most `fps` times per second,
// and repeatedly at longer intervals while it is still (see FramePacer).
//
// Owner: the sharing of the session. Thread: the main thread; the work is done on a thread of its own, named
// "screen-capture", and the destructor waits for its current read of the display. Callbacks arrive on the main thread,
// never after the destruction.
class ScreenVideoSource final : public ScreenVideo {
 public:
  // Captures nothing yet. `fps` is clamped to 1..120, a negative `displayIndex` becomes 0; a display
  // index beyond the last display means the last one. The permission that can be missing is
  // "screen_recording".
  ScreenVideoSource(const ScreenCaptureFactory& makeCapture, int width, int height, int fps, int displayIndex,
                    ScreenEvents events);
  ~ScreenVideoSource() override;
  ScreenVideoSource(const ScreenVideoSource&) = delete;
  ScreenVideoSource& operator=(const ScreenVideoSource&) = delete;

  webrtc::VideoTrackSourceInterface* native() override;

  // Opens the display and starts the capture; the outcome is logged, and a refusal is reported through `refused` once
  // per attempt, without a retry. `done` is called when the attempt has ended, whatever its outcome. Calls in quick
  // succession may be joined into one attempt with the newest values; each `done` is called. A display that is lost
  // later is opened again automatically, without a log line.
  void start(Done done) override;
  // Ends the capture, takes the new values (bounded as above) and starts again.
  void reconfigure(int width, int height, int fps, Done done) override;
  // The same with another display.
  void setDisplayIndex(int displayIndex, Done done) override;
  // Ends the capture; no frame comes after the return. start() begins again.
  void stop() override;
  // While inactive the display is not read, except for the first frame after a start. Becoming active sends a new frame
  // at once. Active at first.
  void setActive(bool active) override;
  // Sends the last frame again at once, for a viewer that has just connected.
  void refresh() override;

  int width() const { return width_; }
  int height() const { return height_; }
  int fps() const { return fps_; }
  int displayIndex() const { return displayIndex_; }
  // Wall-clock time of the last frame read from the display in nanoseconds since 1970, 0 before the first. Any thread.
  qint64 lastCaptureWallNs() const override;

 private:
  struct Native;

  ThreadAffinity thread_;
  int width_;
  int height_;
  int fps_;
  int displayIndex_;
  Lifetime life_;                   // For callbacks from the thread.
  std::unique_ptr<Native> native_;  // Last: its thread ends first.
};

}  // namespace vantora
