// A screen that the test paints, breaks and restores.
#pragma once

#include <algorithm>
#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/ScreenCapture.h"

namespace vantora::fakes {

// The test's handle of the screen; any thread. The captures made by factory() show it.
class FakeScreen : public std::enable_shared_from_this<FakeScreen> {
 public:
  using Colour = std::array<std::uint8_t, 4>;  // Blue, green, red, unused.

  static std::shared_ptr<FakeScreen> make(std::vector<std::pair<int, int>> displays) {
    auto screen = std::make_shared<FakeScreen>();
    screen->displays_ = std::move(displays);
    return screen;
  }
  ScreenCaptureFactory factory();

  // Paints every display in one colour; the capture sees a change.
  void paint(const Colour& colour) {
    set([&] {
      colour_ = colour;
      fills_.clear();
      changed_ = wholeChanged_ = true;
    });
  }
  // Paints an area of every display, in its coordinates.
  void paint(const Colour& colour, const QRect& area) {
    set([&] {
      fills_.emplace_back(area, colour);
      damage_.push_back(area);
      changed_ = true;
    });
  }
  // A change without visible effect.
  void touch() {
    set([&] { touched_ = true; });
  }
  void setDisplays(std::vector<std::pair<int, int>> displays) {
    set([&] {
      displays_ = std::move(displays);
      changed_ = wholeChanged_ = true;
    });
  }
  // open() fails with this text from now on; an empty one lets it succeed.
  void refuseWith(const QString& error) {
    set([&] { refusal_ = error; });
  }
  // open() waits for the user's consent, until it is given or, with a refusal set, denied.
  void setPrompting(bool prompting) {
    set([&] { prompting_ = prompting; });
  }
  // open() succeeds and the first poll fails.
  void setUnreadable(bool unreadable) {
    set([&] { unreadable_ = unreadable; });
  }
  // The pixels of the next frames cannot be read.
  void setUnreadableFrames(int frames) {
    set([&] { unreadableFrames_ = frames; });
  }
  // Removes the display; open() fails until it is back.
  void setGone(bool gone) {
    set([&] { gone_ = gone; });
  }
  // The display server stops responding: polls wait until the capture is abandoned.
  void setSilent(bool silent) {
    set([&] { silent_ = silent; });
  }
  // The next polls return no frame.
  void setNotReady(int polls) {
    set([&] { notReady_ = polls; });
  }

  int opens() const { return get(opens_); }
  int closes() const { return get(closes_); }
  // All polls, and those that read the frame.
  int polls() const { return get(polls_); }
  int reads() const { return get(reads_); }
  // How often each frame read was released, in the order of the reads.
  std::vector<int> releases() const { return get(releases_); }
  std::thread::id pollThread() const { return get(pollThread_); }

 private:
  friend class FakeScreenCapture;
  template <class Change>
  void set(Change change) {
    const std::lock_guard lock(mutex_);
    change();
    signal_.notify_all();
  }
  template <class Value>
  Value get(const Value& value) const {
    const std::lock_guard lock(mutex_);
    return value;
  }

  mutable std::mutex mutex_;
  std::condition_variable signal_;
  std::vector<std::pair<int, int>> displays_;
  Colour colour_{};
  std::vector<std::pair<QRect, Colour>> fills_;  // Above colour_.
  QString refusal_;
  bool changed_ = false;
  bool wholeChanged_ = false;
  std::vector<QRect> damage_;  // Areas that changed since the last read.
  bool touched_ = false;
  bool prompting_ = false;
  bool unreadable_ = false;
  int unreadableFrames_ = 0;
  bool gone_ = false;
  bool silent_ = false;
  int notReady_ = 0;
  int opens_ = 0;
  int closes_ = 0;
  int polls_ = 0;
  int reads_ = 0;
  std::vector<int> releases_;
  std::thread::id pollThread_;
};

class FakeScreenCapture final : public ScreenCapture {
 public:
  explicit FakeScreenCapture(std::shared_ptr<FakeScreen> screen) : screen_(std::move(screen)) {}

  Opened open(int displayIndex) override {
    const std::lock_guard lock(screen_->mutex_);
    ++screen_->opens_;
    open_ = false;
    awaitingConsent_ = screen_->prompting_;
    if (awaitingConsent_) return {Outcome::awaitingConsent, 0, {}};
    if (!screen_->refusal_.isEmpty()) return {Outcome::refused, 0, screen_->refusal_};
    if (screen_->gone_) return {Outcome::refused, 0, QStringLiteral("gone")};
    if (screen_->displays_.empty()) return {Outcome::noDisplay, 0, {}};
    open_ = true;
    screen_->changed_ = screen_->wholeChanged_ = true;
    index_ = std::min(displayIndex, static_cast<int>(screen_->displays_.size()) - 1);
    return {Outcome::opened, index_, {}};
  }

  Poll poll(CapturedFrame& frame) override {
    std::unique_lock lock(screen_->mutex_);
    ++screen_->polls_;
    screen_->pollThread_ = std::this_thread::get_id();
    screen_->signal_.wait(lock, [&] { return !screen_->silent_ || abandoned_; });
    if (abandoned_ || !open_ || screen_->gone_ || screen_->unreadable_) return Poll::lost;
    if (screen_->notReady_ > 0) {
      --screen_->notReady_;
      return Poll::notReady;
    }
    screen_->touched_ = false;
    if (!std::exchange(screen_->changed_, false)) return Poll::unchanged;
    ++screen_->reads_;
    const auto [width, height] = screen_->displays_[static_cast<std::size_t>(index_)];
    pixels_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    std::fill(pixels_.begin(), pixels_.end(), screen_->colour_);
    const QRect whole(0, 0, width, height);
    for (const auto& [area, colour] : screen_->fills_) {
      const QRect visible = area & whole;
      for (int y = visible.top(); y <= visible.bottom(); ++y) {
        std::fill_n(pixels_.begin() + y * width + visible.left(), visible.width(), colour);
      }
    }
    screen_->releases_.push_back(0);
    CapturedFrame read([screen = screen_, index = screen_->releases_.size() - 1] {
      screen->set([&] { ++screen->releases_[index]; });
    });
    if (screen_->unreadableFrames_ > 0) {
      --screen_->unreadableFrames_;
      read.memory = DmaBufPixels{};
    } else {
      read.memory = CpuPixels{pixels_.data()->data(), width * 4};
    }
    read.size = {width, height};
    read.damage = std::exchange(screen_->damage_, {});
    if (std::exchange(screen_->wholeChanged_, false)) read.damage = {whole};
    lock.unlock();  // What is replaced is released.
    frame = std::move(read);
    return Poll::changed;
  }

  Woken wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) override {
    std::unique_lock lock(screen_->mutex_);
    const auto stirred = [&] {
      if (awaitingConsent_) return !screen_->prompting_;
      return wakeOn == WakeOn::changeOrCall && open_ && (screen_->changed_ || screen_->touched_ || screen_->gone_);
    };
    const auto awake = [&] { return woken_ || stirred(); };
    screen_->signal_.wait_for(lock, std::min<std::chrono::nanoseconds>(timeout, std::chrono::hours(1)), awake);
    if (std::exchange(woken_, false)) return Woken::call;
    return stirred() ? Woken::change : Woken::timeout;
  }

  void wake() override {
    screen_->set([&] { woken_ = true; });
  }

  void abandon() override {
    screen_->set([&] { abandoned_ = true; });
  }

  void close() override {
    const std::lock_guard lock(screen_->mutex_);
    if (open_) ++screen_->closes_;
    open_ = false;
    awaitingConsent_ = false;
  }

 private:
  const std::shared_ptr<FakeScreen> screen_;
  bool woken_ = false;      // Guarded by the screen's mutex.
  bool abandoned_ = false;  // The same.
  bool open_ = false;
  bool awaitingConsent_ = false;
  int index_ = 0;
  std::vector<FakeScreen::Colour> pixels_;
};

inline ScreenCaptureFactory FakeScreen::factory() {
  return [screen = shared_from_this()] { return std::make_unique<FakeScreenCapture>(screen); };
}

}  // namespace vantora::fakes
