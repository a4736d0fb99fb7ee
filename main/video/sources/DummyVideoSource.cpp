#include "main/video/sources/DummyVideoSource.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <utility>

#include "base/Log.h"
#include "common_video/include/video_frame_buffer_pool.h"
#include "main/video/sources/FrameSize.h"
#include "main/video/sources/FrameSource.h"
#include "main/video/sources/TestPattern.h"
#include "main/video/sources/TickSchedule.h"
#include "rtc_base/ref_counted_object.h"
#include "rtc_base/time_utils.h"
#include "rtc_base/timestamp_aligner.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

std::chrono::nanoseconds unixNow() { return std::chrono::system_clock::now().time_since_epoch(); }

// Wall-clock nanoseconds since 2001-01-01 UTC, the epoch of the frames' timestamps.
std::int64_t nanosecondsSince2001(std::chrono::nanoseconds sinceUnixEpoch) {
  constexpr std::chrono::seconds kFrom1970To2001(978307200);
  return (sinceUnixEpoch - kFrom1970To2001).count();
}

}  // namespace

struct DummyVideoSource::Native {
  Native(int width, int height) : pattern(width, height) {}

  const rtc::scoped_refptr<FrameSource> source = rtc::make_ref_counted<FrameSource>();
  std::atomic<std::int64_t> framesSent{0};

  // Of the generator thread.
  const TestPattern pattern;
  std::unique_ptr<webrtc::VideoFrameBufferPool> pool;
  // The library needs timestamps of its own monotonic clock; the aligner translates the wall clock to it.
  rtc::TimestampAligner aligner;
  std::optional<QRect> lastBox;  // In the frame pushed last.
};

DummyVideoSource::DummyVideoSource(int fps, int width, int height, const Environment& environment)
    : debug_(environment.equals("DUMMY_DEBUG", "1"_L1)),
      width_(std::clamp(width, 16, 3840)),
      height_(std::clamp(height, 16, 2160)),
      fps_(clampedFps(fps)),
      native_(std::make_unique<Native>(width_, height_)) {
  // The size as given, not the clamped one.
  native_->source->adaptOutputFormat(width, height, fps_);
}

DummyVideoSource::~DummyVideoSource() { stop(); }

webrtc::VideoTrackSourceInterface* DummyVideoSource::native() { return native_->source.get(); }

std::int64_t DummyVideoSource::framesSent() const { return native_->framesSent.load(); }

void DummyVideoSource::start() {
  stop();
  // Maximum of frames in use: the one being made and those held by the encoder.
  constexpr std::size_t kFrames = 6;
  native_->pool = std::make_unique<webrtc::VideoFrameBufferPool>(/*zero_initialize=*/false, kFrames);
  generator_ = std::thread([this] { generate(); });
  pthread_setname_np(generator_.native_handle(), "video-gen");
}

void DummyVideoSource::stop() {
  thread_.check("DummyVideoSource::stop");
  if (!generator_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stopSignal_.notify_all();
  generator_.join();
  stopping_ = false;
}

void DummyVideoSource::generate() {
  using Clock = std::chrono::steady_clock;
  TickSchedule schedule(Clock::now().time_since_epoch(), fps_, debug_);
  std::unique_lock lock(mutex_);
  for (;;) {
    const Clock::time_point due(schedule.due());
    if (stopSignal_.wait_until(lock, due, [this] { return stopping_; })) return;
    lock.unlock();
    if (schedule.next() == TickSchedule::Tick::report) {
      report();
    } else {
      pushFrame();
    }
    schedule.done(Clock::now().time_since_epoch());
    lock.lock();
  }
}

void DummyVideoSource::pushFrame() {
  // The frame would not be sent. With the rate logged it is made anyway: the log shows the rate of the source, with or
  // without a viewer.
  if (!onTrack_.load() || !(debug_ || native_->source->active())) return;
  const auto frame = native_->pool->CreateI420Buffer(width_, height_);
  if (!frame) return;
  const std::chrono::nanoseconds now = unixNow();
  const QRect box = native_->pattern.paint(*frame, std::chrono::duration<double>(now).count());
  const std::optional<QRect> before = std::exchange(native_->lastBox, box);
  constexpr std::int64_t kNanosecondsPerMicrosecond = 1000;
  const std::int64_t timestampUs =
      native_->aligner.TranslateTimestamp(nanosecondsSince2001(now) / kNanosecondsPerMicrosecond, rtc::TimeMicros());
  (void)native_->source->push(frame, timestampUs, before ? std::optional(*before | box) : std::nullopt);
  native_->framesSent.fetch_add(1);
}

void DummyVideoSource::report() {
  logLine(u"sent fps: %1 (%2x%3)"_s.arg(native_->framesSent.exchange(0)).arg(width_).arg(height_));
}

void DummyVideoSource::setOnTrack(bool onTrack) { onTrack_.store(onTrack); }

void DummyVideoSource::setActive(bool active) {
  thread_.check("DummyVideoSource::setActive");
  native_->source->setActive(active);
}

}  // namespace vantora
