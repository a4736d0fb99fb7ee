// A test pattern as a video source.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "base/Environment.h"
#include "base/ThreadAffinity.h"
#include "main/video/sharing/VideoSources.h"

namespace vantora {

// Produces the moving test pattern at a fixed rate, so that video can flow without a screen.
//
// Owner: the sharing of the session. Thread: the main thread; frames are made on a thread of its
// own, named "video-gen", which runs between start() and stop().
class DummyVideoSource final : public SyntheticVideo {
 public:
  // Makes no frames yet. `fps` is clamped to 1..120 and the size of the frames to 16..3840 by 16..2160, but the output
  // format requested from the library is the width and height exactly as given here. With the variable DUMMY_DEBUG
  // equal to "1" the frame rate is logged once per second.
  DummyVideoSource(int fps, int width, int height, const Environment& environment);
  ~DummyVideoSource() override;
  DummyVideoSource(const DummyVideoSource&) = delete;
  DummyVideoSource& operator=(const DummyVideoSource&) = delete;

  webrtc::VideoTrackSourceInterface* native() override;

  // Starts or restarts: there is one generator thread at most.
  void start() override;
  // No frame comes after the return. start() begins again.
  void stop() override;
  // While inactive no frame reaches the encoder, and frames are made only if the rate is logged. Active at first.
  void setActive(bool active) override;
  void setOnTrack(bool onTrack) override;

  // The size and rate of the frames, after clamping.
  int width() const { return width_; }
  int height() const { return height_; }
  int fps() const { return fps_; }
  // Frames made since the last report, or since the construction without reports. Any thread.
  std::int64_t framesSent() const;

 private:
  struct Native;

  void generate();
  void pushFrame();
  void report();

  ThreadAffinity thread_;
  const bool debug_;
  const int width_;
  const int height_;
  const int fps_;
  std::unique_ptr<Native> native_;
  std::atomic<bool> onTrack_{true};

  std::mutex mutex_;
  std::condition_variable stopSignal_;
  bool stopping_ = false;  // Guarded by mutex_.
  std::thread generator_;  // Last: it uses all of the above.
};

}  // namespace vantora
