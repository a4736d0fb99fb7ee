#include "platform/portal/pipewire/PipeWireScreenCapture.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "platform/portal/pipewire/FirstFrameWatch.h"
#include "platform/portal/pipewire/PipeWireStream.h"
#include "platform/portal/pipewire/ShadowFrame.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Clock = PipeWireStream::Clock;

// A screen that nobody has looked at for this time is not recorded by the compositor. Longer than the distance of two
// frames at the lowest rate.
constexpr std::chrono::milliseconds kPauseAfter{1500};

// Reasons for a wait to end. Shared with callbacks that may outlive the capture. Any thread.
class Signals {
 public:
  void call() { set(&Signals::called_); }
  void change() { set(&Signals::changed_); }
  void decide() { set(&Signals::decided_); }
  bool takeCall() { return take(&Signals::called_); }
  bool takeChange() { return take(&Signals::changed_); }
  bool takeDecision() { return take(&Signals::decided_); }
  // Until `end`, a call or, if asked for, something else.
  void wait(Clock::time_point end, bool forAll) {
    std::unique_lock lock(mutex_);
    signal_.wait_until(lock, end, [&] { return called_ || (forAll && (changed_ || decided_)); });
  }

 private:
  void set(bool Signals::*flag) {
    const std::lock_guard lock(mutex_);
    this->*flag = true;
    signal_.notify_all();
  }
  bool take(bool Signals::*flag) {
    const std::lock_guard lock(mutex_);
    return std::exchange(this->*flag, false);
  }

  std::mutex mutex_;
  std::condition_variable signal_;
  bool called_ = false;
  bool changed_ = false;  // Of the stream; what it is, the stream knows.
  bool decided_ = false;
};

class PipeWireScreenCapture final : public ScreenCapture {
 public:
  explicit PipeWireScreenCapture(std::shared_ptr<StreamAccess> access) : access_(std::move(access)) {}
  ~PipeWireScreenCapture() override { close(); }

  Opened open(int displayIndex) override;
  Poll poll(CapturedFrame& frame) override;
  Woken wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) override;
  void wake() override { signals_->call(); }
  void abandon() override;
  void close() override;

 private:
  // Longest wait, so that its end is a time of the clock.
  static constexpr std::chrono::hours kMaxWait{24};

  bool isLost() const { return abandoned_.load() || stream_->isLost(); }
  Opened connect(const StreamAccess::Reply& reply, int displayIndex);
  void activate();
  void requestFirstFrame();
  void describe(CapturedFrame& frame, const BufferFrame& read, std::vector<QRect> changed);

  const std::shared_ptr<StreamAccess> access_;
  const std::shared_ptr<Signals> signals_ = std::make_shared<Signals>();
  std::atomic<bool> abandoned_{false};

  bool awaitingConsent_ = false;
  std::uint32_t node_ = 0;
  std::unique_ptr<PipeWireStream> stream_;
  ShadowFrame shadow_;
  bool mirrored_ = false;
  int rotationDegrees_ = 0;
  FirstFrameWatch firstFrame_;
  Clock::time_point wantedAt_;  // When changes were last of interest.
};

ScreenCapture::Opened PipeWireScreenCapture::open(int displayIndex) {
  stream_.reset();
  shadow_.reset();
  if (abandoned_.load()) return {Outcome::refused, 0, u"the desktop does not respond"_s};
  if (!pipeWireAvailable()) return {Outcome::refused, 0, u"PipeWire is not installed"_s};
  (void)signals_->takeDecision();
  StreamAccess::Reply reply = access_->request([signals = std::weak_ptr(signals_)] {
    if (const auto living = signals.lock()) living->decide();
  });
  awaitingConsent_ = reply.outcome == StreamAccess::Outcome::pending;
  if (awaitingConsent_) return {Outcome::awaitingConsent, 0, {}};
  if (reply.outcome == StreamAccess::Outcome::refused) return {Outcome::refused, 0, reply.error};
  if (reply.streams.empty()) return {Outcome::noDisplay, 0, {}};
  return connect(reply, displayIndex);
}

ScreenCapture::Opened PipeWireScreenCapture::connect(const StreamAccess::Reply& reply, int displayIndex) {
  const int index = std::clamp(displayIndex, 0, static_cast<int>(reply.streams.size()) - 1);
  node_ = reply.streams[static_cast<std::size_t>(index)].node;
  stream_ = std::make_unique<PipeWireStream>(*PipeWireLibrary::get(), PipeWireStream::Target{node_, access_},
                                             [signals = signals_] { signals->change(); });
  if (!stream_->connect(reply.remote)) {
    stream_.reset();
    return {Outcome::refused, 0, u"cannot connect to PipeWire"_s};
  }
  firstFrame_ = {};
  wantedAt_ = Clock::now();
  return {Outcome::opened, index, {}};
}

ScreenCapture::Poll PipeWireScreenCapture::poll(CapturedFrame& frame) {
  if (!stream_ || isLost()) return Poll::lost;
  activate();
  bool changed = false;
  const bool read = stream_->readFrame([&](const BufferFrame& newest, const std::optional<FrameCursor>& cursor) {
    const bool turned = std::exchange(mirrored_, newest.mirrored) != newest.mirrored ||
                        std::exchange(rotationDegrees_, newest.rotationDegrees) != newest.rotationDegrees;
    if (turned) shadow_.reset();
    std::vector<QRect> damage = shadow_.update(newest.view, newest.damage);
    changed = !damage.empty();
    if (!changed) return;
    describe(frame, newest, std::move(damage));
    frame.cursor = cursor;
  });
  if (!read) requestFirstFrame();
  if (changed) return Poll::changed;
  return shadow_.isEmpty() ? Poll::notReady : Poll::unchanged;
}

void PipeWireScreenCapture::describe(CapturedFrame& frame, const BufferFrame& read, std::vector<QRect> changed) {
  frame.memory = CpuPixels{shadow_.data(), shadow_.stride()};
  frame.format = shadow_.format();
  frame.size = shadow_.size();
  frame.mirrored = read.mirrored;
  frame.rotationDegrees = read.rotationDegrees;
  frame.timestamp = read.timestamp;
  frame.damage = std::move(changed);
}

void PipeWireScreenCapture::activate() {
  wantedAt_ = Clock::now();
  stream_->setActive(true);
}

void PipeWireScreenCapture::requestFirstFrame() {
  switch (firstFrame_.next(Clock::now(), stream_->frameAwaitedSince())) {
    case FirstFrameWatch::Action::nudge:
      access_->nudge(node_);
      break;
    case FirstFrameWatch::Action::restart:
      stream_->restart();
      break;
    case FirstFrameWatch::Action::none:
      break;
  }
}

ScreenCapture::Woken PipeWireScreenCapture::wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) {
  const auto end = Clock::now() + std::clamp<std::chrono::nanoseconds>(timeout, std::chrono::nanoseconds(0), kMaxWait);
  const bool watch = wakeOn == WakeOn::changeOrCall;
  for (;;) {
    auto until = end;
    // Before the state is read: what comes later ends the wait below.
    const bool decided = watch && signals_->takeDecision();
    if (watch) (void)signals_->takeChange();
    if (watch && awaitingConsent_ && (decided || abandoned_.load())) return Woken::change;
    if (watch && stream_) {
      activate();
      if (isLost() || stream_->hasFrame()) return Woken::change;
      requestFirstFrame();
      until = std::min(until, firstFrame_.due().value_or(end));
    } else if (stream_) {
      const auto pauseAt = wantedAt_ + kPauseAfter;
      if (Clock::now() >= pauseAt) {
        stream_->setActive(false);
      } else {
        until = std::min(until, pauseAt);
      }
    }
    signals_->wait(until, watch);
    if (signals_->takeCall()) return Woken::call;
    if (Clock::now() >= end) return Woken::timeout;
  }
}

void PipeWireScreenCapture::abandon() {
  abandoned_.store(true);
  signals_->change();
}

void PipeWireScreenCapture::close() {
  if (std::exchange(awaitingConsent_, false)) access_->cancel();
  stream_.reset();
  shadow_.reset();
}

}  // namespace

bool pipeWireAvailable() { return PipeWireLibrary::get() != nullptr; }

std::unique_ptr<ScreenCapture> makePipeWireScreenCapture(std::shared_ptr<StreamAccess> access) {
  return std::make_unique<PipeWireScreenCapture>(std::move(access));
}

}  // namespace vantora
