// The WebRTC library's end of a video source. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <QRect>
#include <QSize>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>

#include "api/media_stream_interface.h"
#include "api/notifier.h"
#include "api/video/video_frame.h"
#include "api/video/video_frame_buffer.h"
#include "media/base/video_adapter.h"
#include "media/base/video_broadcaster.h"

namespace vantora {

// Passes frames to the sinks of a video track, adapted to the requested format. Frames that have exactly the requested
// size pass unchanged; others are cropped to the requested aspect ratio and scaled down to the requested pixel count.
// Of the encoder's requests, the frame rate is followed and the size is not: text must stay readable.
// Reference-counted; the library may keep it longer than its creator. Frames come from one thread; everything else may
// be called on any thread.
class FrameSource : public webrtc::Notifier<webrtc::VideoTrackSourceInterface> {
 public:
  struct Format {
    int width = 0;
    int height = 0;
    int fps = 0;
    bool operator==(const Format&) const = default;
  };

  // Sets the output format. A width or height below 1 sets no size, an fps below 1 no rate; if a ratio would leave
  // fewer than two rows or columns of a frame, nothing is cropped.
  void adaptOutputFormat(int width, int height, int fps);
  // The last requested format.
  Format outputFormat() const;

  // While inactive, frames are dropped before anything is done with them. Active at first.
  void setActive(bool active) { active_.store(active); }
  bool active() const { return active_.load(); }
  // Called whenever the encoder needs a frame: on its request and when a sink is added or changes what it wants. Called
  // on any thread, under a lock: it must not block or call this object. After a call with another handler, or nullptr,
  // the old one is not running any more.
  void setRefreshHandler(std::function<void()> handler);

  // Passes one frame on. `timestampUs` is on the library's monotonic clock (rtc::TimeMicros). Outside `changed` the
  // frame is the same as the previously pushed one; empty: unknown. False if the frame was not wanted (inactive, no
  // sink, above the rate): its changes then count for the next one.
  bool push(const rtc::scoped_refptr<webrtc::VideoFrameBuffer>& buffer, std::int64_t timestampUs,
            std::optional<QRect> changed = std::nullopt);

  SourceState state() const override { return kLive; }
  bool remote() const override { return false; }
  // False: the track's content hint alone decides how the encoder treats the video.
  bool is_screencast() const override { return false; }
  absl::optional<bool> needs_denoising() const override { return false; }
  bool GetStats(Stats* stats) override;
  bool SupportsEncodedOutput() const override { return false; }
  void GenerateKeyFrame() override {}
  void AddEncodedSink(rtc::VideoSinkInterface<webrtc::RecordableEncodedFrame>*) override {}
  void RemoveEncodedSink(rtc::VideoSinkInterface<webrtc::RecordableEncodedFrame>*) override {}
  void ProcessConstraints(const webrtc::VideoTrackSourceConstraints& constraints) override;
  void AddOrUpdateSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink, const rtc::VideoSinkWants& wants) override;
  void RemoveSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink) override;
  void RequestRefreshFrame() override;

 private:
  void noteInput(int width, int height);
  void applyFormat();  // With formatMutex_ held.
  void applyWants();

  // What of a pushed frame the sinks see, and in which size.
  struct View {
    QSize input;
    QRect crop;
    QSize output;
    bool operator==(const View&) const = default;
  };
  webrtc::VideoFrame::UpdateRect takeUpdateRect(const View& view, std::optional<QRect> changed);

  std::atomic<bool> active_{true};
  // A sink needs a whole frame: it received none of the earlier ones, or asked for one.
  std::atomic<bool> wholeWanted_{true};
  // Changes in frames that were not wanted; used on the thread that pushes.
  QRect pendingChange_;
  bool pendingAll_ = true;
  View lastView_;
  cricket::VideoAdapter adapter_;
  rtc::VideoBroadcaster broadcaster_;

  mutable std::mutex formatMutex_;
  Format format_;
  int inputWidth_ = 0;
  int inputHeight_ = 0;

  std::mutex handlerMutex_;
  std::function<void()> refreshHandler_;
};

}  // namespace vantora
