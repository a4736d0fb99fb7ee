// The WebRTC library's end of a video source. A heavy header: include it in .cpp files only.
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

// Hands frames to the sinks of a video track, adapted to the requested format. Frames that have
// exactly the requested size pass untouched; others are cropped to the request's aspect ratio and
// scaled into its pixel count. Of what the encoder asks for, the frame rate is obeyed and the size
// is not: text must stay readable.
// Reference-counted; the library may keep it longer than its maker. Frames come from one thread;
// everything else may be called on any thread.
class FrameSource : public webrtc::Notifier<webrtc::VideoTrackSourceInterface> {
 public:
  struct Format {
    int width = 0;
    int height = 0;
    int fps = 0;
    bool operator==(const Format&) const = default;
  };

  // Sets the output format. A width or height below 1 sets no size, an fps below 1 no rate; a ratio
  // that would leave hardly anything of a frame crops nothing.
  void adaptOutputFormat(int width, int height, int fps);
  // The format as it was requested last.
  Format outputFormat() const;

  // While inactive, frames are dropped before anything is done with them. Active at first.
  void setActive(bool active) { active_.store(active); }
  bool active() const { return active_.load(); }
  // Called whenever the encoder needs a frame: on its request and when a sink is added or changes
  // what it wants. Called on any thread, under a lock: it must not block and not call back. After
  // setting another handler, or none, the old one is not running any more.
  void setRefreshHandler(std::function<void()> handler);

  // Hands one frame on. `timestampUs` is on the library's monotonic clock (rtc::TimeMicros). Outside of `changed` the
  // frame shows the same as the one that was pushed before; without it nothing is known. False when the frame was not
  // wanted (inactive, no sink, above the rate): what changed in it counts for the next one.
  bool push(const rtc::scoped_refptr<webrtc::VideoFrameBuffer>& buffer, std::int64_t timestampUs,
            std::optional<QRect> changed = std::nullopt);

  SourceState state() const override { return kLive; }
  bool remote() const override { return false; }
  // The track's content hint decides how the encoder treats the picture.
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

  webrtc::VideoFrame::UpdateRect takeChanged(const QSize& size, std::optional<QRect> changed);

  std::atomic<bool> active_{true};
  // A sink may have come that knows none of the frames before.
  std::atomic<bool> newSink_{true};
  // What changed in frames that were not wanted; of the thread that pushes.
  QRect unsent_;
  bool allUnsent_ = true;
  QSize lastSize_;
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
