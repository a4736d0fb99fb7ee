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

// Captures one display and hands its picture on as video frames of a set size: at once when
// something on the display changes, at most `fps` times a second, and now and then while it stands
// still (see FramePacer).
//
// Owner: the sharing of the session. Thread: the main thread; the work is done on a thread of its
// own, named "screen-capture", and the destructor waits for the read of the display at hand.
// Callbacks arrive on the main thread, and not after the destruction.
class ScreenVideoSource final : public ScreenVideo {
 public:
  // Captures nothing yet. `fps` is clamped to 1..120, a negative `displayIndex` becomes 0; a display
  // index beyond the last display means the last one. The permission that can be missing is
  // "screen_recording".
  ScreenVideoSource(const ScreenCaptureFactory& makeCapture, int width, int height, int fps, int displayIndex,
                    ScreenNews news);
  ~ScreenVideoSource() override;
  ScreenVideoSource(const ScreenVideoSource&) = delete;
  ScreenVideoSource& operator=(const ScreenVideoSource&) = delete;

  webrtc::VideoTrackSourceInterface* native() override;

  // Opens the display and begins; the log tells what came of it, and a refusal is reported through
  // `refused` once an attempt, without a retry. `done` is called when the attempt has ended,
  // whatever its outcome. Calls in quick succession may be joined into one attempt with the newest
  // values; each `done` is called. A display that is lost later comes back by itself, in silence.
  void start(Done done) override;
  // Ends the capture, takes the new values (bounded as above) and starts again.
  void reconfigure(int width, int height, int fps, Done done) override;
  // The same with another display.
  void setDisplayIndex(int displayIndex, Done done) override;
  // Ends the capture; no frame comes after the return. start() begins again.
  void stop() override;
  // While inactive the display is not read, except for the first picture after a start. Becoming
  // active sends a fresh picture at once. Active at first.
  void setActive(bool active) override;
  // Sends the picture again at once, for a viewer that has just come.
  void refresh() override;

  int width() const { return width_; }
  int height() const { return height_; }
  int fps() const { return fps_; }
  int displayIndex() const { return displayIndex_; }
  // Wall-clock time of the last picture read from the display in nanoseconds since 1970, 0 before
  // the first. Any thread.
  qint64 lastCaptureWallNs() const override;

 private:
  struct Native;

  ThreadAffinity thread_;
  int width_;
  int height_;
  int fps_;
  int displayIndex_;
  Lifetime life_;                   // For what comes from the thread.
  std::unique_ptr<Native> native_;  // Last: its thread ends first.
};

}  // namespace vantora
