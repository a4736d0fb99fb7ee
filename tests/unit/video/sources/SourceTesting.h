// Shared by the tests of the video sources. Heavy header (WebRTC library).
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QRect>
#include <QStringList>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "api/media_stream_interface.h"
#include "api/video/i420_buffer.h"
#include "api/video/video_frame.h"
#include "api/video/video_sink_interface.h"
#include "base/Log.h"
#include "rtc_base/logging.h"
#include "tests/fakes/Timeout.h"

namespace vantora::testsupport {

// The library's log would hide that of the tests.
inline const bool kLibraryIsQuiet = [] {
  rtc::LogMessage::LogToDebug(rtc::LS_NONE);
  return true;
}();

// Handles pending main-thread events.
inline void pump() {
  QCoreApplication::processEvents();
  std::this_thread::sleep_for(std::chrono::microseconds(200));
}

// Handles main-thread events until `condition` holds; false after a timeout.
[[nodiscard]] inline bool pumpUntil(const std::function<bool()>& condition) {
  testloop::Timeout timeout;
  while (!condition()) {
    if (timeout.isOver()) return false;
    pump();
  }
  return true;
}

// Handles main-thread events for `span`, to see that something does not happen meanwhile.
inline void pumpFor(std::chrono::milliseconds span) {
  const auto end = std::chrono::steady_clock::now() + span;
  while (std::chrono::steady_clock::now() <= end) pump();
}

// Log lines of any thread.
class LockedLog {
 public:
  QStringList lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  qsizetype count(QStringView start) const {
    const QStringList all = lines();
    return std::count_if(all.begin(), all.end(), [&](const QString& line) { return line.startsWith(start); });
  }

 private:
  mutable std::mutex mutex_;
  QStringList lines_;
  ScopedLogSink sink_{[this](const QString& line) {
    const std::lock_guard lock(mutex_);
    lines_.append(line);
  }};
};

// Takes the frames of a source in place of the encoder.
class FrameSink final : public rtc::VideoSinkInterface<webrtc::VideoFrame> {
 public:
  struct Frame {
    int width = 0;
    int height = 0;
    int luma = 0;  // Of the pixel in the middle.
    std::int64_t timestampUs = 0;
    const void* buffer = nullptr;
    std::thread::id thread;
    std::chrono::steady_clock::time_point arrived;
    QRect changed = {};  // Since the frame before.
  };

  explicit FrameSink(webrtc::VideoTrackSourceInterface* source, const rtc::VideoSinkWants& wants = {})
      : source_(source) {
    source_->AddOrUpdateSink(this, wants);
  }
  ~FrameSink() override { source_->RemoveSink(this); }

  void OnFrame(const webrtc::VideoFrame& frame) override {
    const auto buffer = frame.video_frame_buffer();
    const auto i420 = buffer->ToI420();
    const int luma = i420->DataY()[i420->height() / 2 * i420->StrideY() + i420->width() / 2];
    const auto update = frame.update_rect();
    const std::lock_guard lock(mutex_);
    frames_.push_back({frame.width(), frame.height(), luma, frame.timestamp_us(), buffer.get(),
                       std::this_thread::get_id(), std::chrono::steady_clock::now(),
                       QRect(update.offset_x, update.offset_y, update.width, update.height)});
    last_ = i420;
  }
  void want(const rtc::VideoSinkWants& wants) { source_->AddOrUpdateSink(this, wants); }

  std::vector<Frame> frames() const {
    const std::lock_guard lock(mutex_);
    return frames_;
  }
  std::size_t count() const { return frames().size(); }
  Frame last() const { return frames().back(); }
  rtc::scoped_refptr<webrtc::I420BufferInterface> lastImage() const {
    const std::lock_guard lock(mutex_);
    return last_;
  }

 private:
  const rtc::scoped_refptr<webrtc::VideoTrackSourceInterface> source_;
  mutable std::mutex mutex_;
  std::vector<Frame> frames_;
  rtc::scoped_refptr<webrtc::I420BufferInterface> last_;
};

// Whether two frames show exactly the same image.
inline bool sameImage(const webrtc::I420BufferInterface& a, const webrtc::I420BufferInterface& b) {
  if (a.width() != b.width() || a.height() != b.height()) return false;
  const auto samePlane = [](const std::uint8_t* p, int ps, const std::uint8_t* q, int qs, int width, int height) {
    for (int y = 0; y < height; ++y) {
      if (!std::equal(p + y * ps, p + y * ps + width, q + y * qs)) return false;
    }
    return true;
  };
  return samePlane(a.DataY(), a.StrideY(), b.DataY(), b.StrideY(), a.width(), a.height()) &&
         samePlane(a.DataU(), a.StrideU(), b.DataU(), b.StrideU(), a.ChromaWidth(), a.ChromaHeight()) &&
         samePlane(a.DataV(), a.StrideV(), b.DataV(), b.StrideV(), a.ChromaWidth(), a.ChromaHeight());
}

// A test with a main thread that handles posted callbacks.
class MainThreadTest : public testing::Test {
 private:
  int argc_ = 1;
  char name_[5] = "test";
  char* argv_[2] = {name_, nullptr};
  QCoreApplication application_{argc_, argv_};
};

}  // namespace vantora::testsupport
