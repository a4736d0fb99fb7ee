#include "main/video/sources/CaptureLoop.h"

#include <pthread.h>

#include <algorithm>
#include <utility>

#include "base/Log.h"
#include "main/video/sources/FrameSize.h"
#include "rtc_base/time_utils.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Interval of the attempts to open a lost display again.
constexpr std::chrono::seconds kReopenStep(1);

// A display counts as lost after this number of unreadable frames in a row.
constexpr int kMaxUnreadable = 3;

// A wait of this length means that the screen has been still for a while.
constexpr std::chrono::milliseconds kRest(500);

FramePacer::Time now() { return std::chrono::nanoseconds(rtc::TimeNanos()); }

std::int64_t wallNanoseconds() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
}

}  // namespace

CaptureLoop::CaptureLoop(std::unique_ptr<ScreenCapture> capture, rtc::scoped_refptr<FrameSource> source, Events events)
    : capture_(std::move(capture)), source_(std::move(source)), events_(std::move(events)) {
  thread_ = std::thread([this] { run(); });
  pthread_setname_np(thread_.native_handle(), "screen-capture");
}

CaptureLoop::~CaptureLoop() {
  {
    const std::lock_guard lock(mutex_);
    commands_.quit = true;
    ++commands_.epoch;
  }
  capture_->wake();
  {
    std::unique_lock lock(mutex_);
    if (!endSignal_.wait_for(lock, kTimeout, [this] { return ended_; })) capture_->abandon();
  }
  thread_.join();
}

void CaptureLoop::start(const CaptureSettings& settings, Callback ended) {
  {
    const std::lock_guard lock(mutex_);
    const QSize size = frameSizeFor(settings.width, settings.height);
    source_->adaptOutputFormat(size.width(), size.height(), settings.fps);
    commands_.settings = settings;
    ++commands_.epoch;
    commands_.startCallbacks.push_back(std::move(ended));
  }
  capture_->wake();
}

void CaptureLoop::stop() {
  {
    const std::lock_guard lock(mutex_);
    commands_.settings.reset();
    ++commands_.epoch;
  }
  capture_->wake();
}

void CaptureLoop::setActive(bool active) {
  {
    const std::lock_guard lock(mutex_);
    commands_.active = active;
  }
  capture_->wake();
}

void CaptureLoop::refresh() {
  {
    const std::lock_guard lock(mutex_);
    commands_.refresh = true;
  }
  capture_->wake();
}

void CaptureLoop::requestByEncoder() {
  requestedByEncoder_.store(true);
  capture_->wake();
}

void CaptureLoop::run() {
  while (takeCommands()) work();
  capture_->close();
  const std::lock_guard lock(mutex_);
  ended_ = true;
  endSignal_.notify_all();
}

bool CaptureLoop::takeCommands() {
  std::vector<Callback> startCallbacks;
  bool newEpoch = false;
  {
    const std::lock_guard lock(mutex_);
    if (commands_.quit) return false;
    newEpoch = std::exchange(epoch_, commands_.epoch) != commands_.epoch;
    if (newEpoch) settings_ = commands_.settings;
    if (commands_.active && !active_) pacer_.restart();
    active_ = commands_.active;
    if (std::exchange(commands_.refresh, false)) pacer_.requestRefresh();
    startCallbacks.swap(commands_.startCallbacks);
  }
  if (requestedByEncoder_.exchange(false)) pacer_.requestByEncoder();
  if (newEpoch) restart(std::move(startCallbacks));
  return true;
}

void CaptureLoop::restart(std::vector<Callback> startCallbacks) {
  // A user who is being asked decides on the newest settings.
  if (!awaitingConsent_ || !settings_) endAttempt();
  awaitingConsent_ = false;
  startCallbacks_.insert(startCallbacks_.end(), startCallbacks.begin(), startCallbacks.end());
  if (!settings_) capture_->close();
  open_ = false;
  firstFramePending_ = false;
  reopenAt_.reset();
  lastFrame_ = nullptr;
  // A changed size is reported even if the display was closed meanwhile, but not if another display was chosen.
  if (settings_ && std::exchange(displayIndex_, settings_->displayIndex) != settings_->displayIndex) {
    displaySize_.reset();
  }
  if (settings_) openFirst();
  if (!awaitingConsent_) endAttempt();
}

void CaptureLoop::endAttempt() {
  awaitingConsent_ = false;
  for (const Callback& ended : std::exchange(startCallbacks_, {})) ended();
}

void CaptureLoop::refuse(const QString& error) {
  logLine(u"[sc] start error: "_s + error);
  logLine(u"[sc] Required permissions in System Settings \u2192 Privacy & Security:"_s);
  logLine(u"[sc] - Screen Recording (for video capture)"_s);
  events_.refused();
}

void CaptureLoop::openFirst() {
  const ScreenCapture::Opened opened = capture_->open(settings_->displayIndex);
  awaitingConsent_ = opened.outcome == ScreenCapture::Outcome::awaitingConsent;
  if (awaitingConsent_) return;
  if (opened.outcome == ScreenCapture::Outcome::refused) {
    refuse(opened.error);
    return;
  }
  if (opened.outcome == ScreenCapture::Outcome::noDisplay) {
    logLine(u"[sc] no display found"_s);
    return;
  }
  converter_.setFrameSize(frameSizeFor(settings_->width, settings_->height));
  pacer_ = FramePacer(settings_->fps);
  openedAt_ = now();
  auto frame = converter_.newFrame();
  CapturedFrame image;
  const auto first = frame ? capture_->poll(image) : ScreenCapture::Poll::notReady;
  const auto changed = first == ScreenCapture::Poll::changed ? converter_.convert(image, frame) : std::nullopt;
  // Permission to open the display does not imply permission to read it.
  if (first == ScreenCapture::Poll::lost || (first == ScreenCapture::Poll::changed && !changed)) {
    image = {};  // Released before the display is closed.
    refuseToRead();
    return;
  }
  logLine(u"[sc] Video capture started at %1x%2@%3 displayIndex=%4"_s.arg(settings_->width)
              .arg(settings_->height)
              .arg(settings_->fps)
              .arg(opened.displayIndex));
  open_ = true;
  firstFramePending_ = true;
  if (changed) captured(image, std::move(frame), *changed, openedAt_);
}

void CaptureLoop::refuseToRead() {
  capture_->close();
  open_ = firstFramePending_ = false;
  refuse(u"the display cannot be read"_s);
}

void CaptureLoop::reopen() {
  openedAt_ = now();
  const ScreenCapture::Opened opened = capture_->open(settings_->displayIndex);
  const bool asked = std::exchange(awaitingConsent_, opened.outcome == ScreenCapture::Outcome::awaitingConsent);
  if (awaitingConsent_) return;
  if (asked && opened.outcome == ScreenCapture::Outcome::refused) {
    reopenAt_.reset();
    refuse(opened.error);
    return;
  }
  if (opened.outcome != ScreenCapture::Outcome::opened) {
    reopenAt_ = openedAt_ + kReopenStep;
    return;
  }
  open_ = true;
  unreadable_ = 0;
  reopenAt_.reset();
  pacer_ = FramePacer(settings_->fps);
}

// Whatever made the pixels of one frame unreadable may be over with the next one, but not if none was readable yet.
void CaptureLoop::handleUnreadable(Time start) {
  if (firstFramePending_) {
    refuseToRead();
  } else if (++unreadable_ < kMaxUnreadable) {
    pacer_.pollFailed(start);
  } else {
    handleLostDisplay();
  }
}

// A display that was captured and disappears is no refusal: wait for it, without a log line.
void CaptureLoop::handleLostDisplay() {
  capture_->close();
  open_ = false;
  lastFrame_ = nullptr;
  // A display that only changed can be opened again at once; one that fails repeatedly must not keep the thread busy.
  reopenAt_ = std::max(now(), openedAt_ + kReopenStep);
}

void CaptureLoop::work() {
  if (awaitingConsent_) {
    if (capture_->wait(FramePacer::kForever, ScreenCapture::WakeOn::changeOrCall) != ScreenCapture::Woken::change)
      return;
    if (reopenAt_) {
      reopen();
      return;
    }
    openFirst();
    if (!awaitingConsent_) endAttempt();
    return;
  }
  if (!settings_ || (!open_ && !reopenAt_) || (!active_ && !firstFramePending_)) {
    (void)capture_->wait(FramePacer::kForever, ScreenCapture::WakeOn::call);
    return;
  }
  const Time start = now();
  if (!open_) {
    if (start >= *reopenAt_) {
      reopen();
    } else {
      (void)capture_->wait(*reopenAt_ - start, ScreenCapture::WakeOn::call);
    }
    return;
  }
  const FramePacer::Step step = pacer_.next(start);
  if (step.action == FramePacer::Action::poll) {
    poll(start);
  } else if (step.action == FramePacer::Action::repeat) {
    repeat(start);
  } else {
    const Time timeout = step.until == FramePacer::kForever ? step.until : step.until - start;
    if (timeout >= kRest) converter_.releaseUnused();
    const auto wakeOn = step.wakeOnChange ? ScreenCapture::WakeOn::changeOrCall : ScreenCapture::WakeOn::call;
    if (capture_->wait(timeout, wakeOn) == ScreenCapture::Woken::change) pacer_.noteChange();
  }
}

void CaptureLoop::poll(Time start) {
  // Allocate first: a poll clears the change, which would be lost without a frame to convert to.
  auto frame = converter_.newFrame();
  CapturedFrame image;
  switch (frame ? capture_->poll(image) : ScreenCapture::Poll::notReady) {
    case ScreenCapture::Poll::changed:
      if (const auto changed = converter_.convert(image, frame)) {
        captured(image, std::move(frame), *changed, start);
      } else {
        image = {};  // Released before the display may be closed.
        handleUnreadable(start);
      }
      return;
    case ScreenCapture::Poll::unchanged:
      // What the unreadable frame showed is read only by opening the display again.
      if (unreadable_ > 0) {
        handleUnreadable(start);
      } else {
        pacer_.pollUnchanged(start);
      }
      return;
    case ScreenCapture::Poll::notReady:
      pacer_.pollFailed(start);
      return;
    case ScreenCapture::Poll::lost:
      handleLostDisplay();
      return;
  }
}

void CaptureLoop::captured(const CapturedFrame& image, rtc::scoped_refptr<webrtc::I420Buffer> frame,
                           const QRect& changed, Time start) {
  lastCaptureWallNs_.store(wallNanoseconds());
  firstFramePending_ = false;
  unreadable_ = 0;
  changed_ = lastFrame_ && changed_ ? std::optional(*changed_ | changed) : std::nullopt;
  lastFrame_ = std::move(frame);
  const QSize size(lastFrame_->width(), lastFrame_->height());
  if (size != loggedSize_) {
    loggedSize_ = size;
    logLine(u"[sc] frame size now %1x%2"_s.arg(size.width()).arg(size.height()));
  }
  pushLastFrame();
  pacer_.sentChange(start);
  const QSize display = image.rotationDegrees % 180 == 0 ? image.size : image.size.transposed();
  if (std::exchange(displaySize_, display).value_or(display) != display) events_.resized();
}

void CaptureLoop::repeat(Time start) {
  pushLastFrame();
  pacer_.sentRepeat(start);
}

void CaptureLoop::pushLastFrame() {
  const std::lock_guard lock(mutex_);
  if (commands_.epoch != epoch_ || !commands_.active || !lastFrame_) return;
  (void)source_->push(lastFrame_, rtc::TimeMicros(), changed_);
  changed_ = QRect();
}

}  // namespace vantora
