// The capture thread of the screen source. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "main/video/sources/FrameConverter.h"
#include "main/video/sources/FramePacer.h"
#include "main/video/sources/FrameSource.h"
#include "platform/ScreenCapture.h"

namespace vantora {

// What to capture. fps is 1 to 120 and displayIndex not negative.
struct CaptureSettings {
  int width = 0;
  int height = 0;
  int fps = 1;
  int displayIndex = 0;
};

// Owns the thread "screen-capture", on which the display is opened, read and closed and frames are pushed to the
// source. Methods are for the owner's thread unless stated otherwise. None blocks on the display, except the
// destructor, which waits for the current poll to end: kTimeout at most, then the display is abandoned.
class CaptureLoop {
 public:
  using Callback = std::function<void()>;
  static constexpr std::chrono::milliseconds kTimeout{500};

  // Called on the capture thread.
  struct Events {
    // Once for every attempt to start that ends in a refusal, also when only its first frame shows that the display
    // cannot be read, and when the local user refuses a lost display that has come back.
    Callback refused;
    // The display's image has another size than the last one since the start.
    Callback resized;
  };
  CaptureLoop(std::unique_ptr<ScreenCapture> capture, rtc::scoped_refptr<FrameSource> source, Events events);
  ~CaptureLoop();
  CaptureLoop(const CaptureLoop&) = delete;
  CaptureLoop& operator=(const CaptureLoop&) = delete;

  // Captures with `settings` from now on; opens the display, for which the local user may be asked for minutes. Calls
  // made before the thread has handled the previous one are joined into one attempt with the newest settings. Every
  // `ended` is called once, on the capture thread, whatever the outcome, unless the loop is destroyed first.
  void start(const CaptureSettings& settings, Callback ended);
  // No frame is pushed after the return.
  void stop();
  // While inactive the display is not read, except for the first frame after a start.
  void setActive(bool active);
  void refresh();
  // The encoder requests a frame. Any thread; never blocks.
  void requestByEncoder();

  // Wall-clock time of the last captured frame, nanoseconds since 1970; 0 before the first. Any thread.
  std::int64_t lastCaptureWallNs() const { return lastCaptureWallNs_.load(); }

 private:
  using Time = FramePacer::Time;
  // From the owner, guarded by mutex_.
  struct Commands {
    bool quit = false;
    bool active = true;
    bool refresh = false;
    // Incremented by every start and stop: frames of an older epoch are not pushed.
    std::uint64_t epoch = 0;
    std::optional<CaptureSettings> settings;
    std::vector<Callback> startCallbacks;
  };

  void run();
  bool takeCommands();
  void restart(std::vector<Callback> startCallbacks);
  void endAttempt();
  void openFirst();
  void refuse(const QString& error);
  void refuseToRead();
  void reopen();
  void handleLostDisplay();
  void work();
  void poll(Time start);
  void repeat(Time start);
  void captured(const CapturedFrame& image, rtc::scoped_refptr<webrtc::I420Buffer> frame, const QRect& changed,
                Time start);
  void handleUnreadable(Time start);
  void pushLastFrame();

  const std::unique_ptr<ScreenCapture> capture_;
  const rtc::scoped_refptr<FrameSource> source_;
  const Events events_;
  std::atomic<std::int64_t> lastCaptureWallNs_{0};
  std::atomic<bool> requestedByEncoder_{false};

  std::mutex mutex_;  // Also held while a frame is pushed.
  Commands commands_;
  bool ended_ = false;  // The thread does not use the display any more.
  std::condition_variable endSignal_;

  // Of the capture thread.
  std::optional<CaptureSettings> settings_;
  std::uint64_t epoch_ = 0;
  bool active_ = true;
  bool open_ = false;
  bool awaitingConsent_ = false;
  std::vector<Callback> startCallbacks_;  // Called when the attempt to start has ended.
  bool firstFramePending_ = false;
  int unreadable_ = 0;  // Frames in a row, since the display was opened, whose pixels could not be read.
  Time openedAt_{0};
  std::optional<Time> reopenAt_;  // Set while a display that was captured is lost.
  FramePacer pacer_{1};
  FrameConverter converter_;
  rtc::scoped_refptr<webrtc::I420Buffer> lastFrame_;
  std::optional<QRect> changed_;  // Changes in lastFrame_ that were not pushed yet; empty: all of it.
  QSize loggedSize_;
  std::optional<QSize> displaySize_;  // Of the last image of the display with this index.
  int displayIndex_ = 0;

  std::thread thread_;  // Last: it uses all of the above.
};

}  // namespace vantora
