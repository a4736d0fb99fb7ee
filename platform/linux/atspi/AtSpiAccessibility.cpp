#include "platform/linux/atspi/AtSpiAccessibility.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "base/Lifetime.h"
#include "base/ThreadAffinity.h"
#include "platform/linux/atspi/AtSpiBus.h"
#include "platform/linux/atspi/AtSpiReader.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kReadLimit = 250ms;
constexpr auto kOpenLimit = 1s;
constexpr auto kBetweenOpenings = 5s;

// Owns the thread: finds the bus on request, and reads elements.
class Worker {
 public:
  using Found = std::function<void(PointedElements)>;

  Worker(atspi::BusEnvironment environment, std::unique_ptr<WindowFinder> windows)
      : environment_(std::move(environment)), windows_(std::move(windows)) {}
  ~Worker() {
    {
      const std::lock_guard lock(mutex_);
      quit_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable()) thread_.join();
  }

  AccessibilityTrust trust() const { return trust_.load(); }

  void open() {
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
    {
      const std::lock_guard lock(mutex_);
      openWanted_ = true;
    }
    wake_.notify_one();
  }
  // `found` is called on the worker's thread.
  void read(int maximum, Found found) {
    {
      const std::lock_guard lock(mutex_);
      maximum_ = maximum;
      found_ = std::move(found);
    }
    wake_.notify_one();
  }

 private:
  void run() {
    ::pthread_setname_np(::pthread_self(), "accessibility");
    std::unique_lock lock(mutex_);
    for (;;) {
      wake_.wait(lock, [this] { return quit_ || openWanted_ || found_; });
      if (quit_) return;
      const bool openWanted = std::exchange(openWanted_, false);
      const Found found = std::exchange(found_, nullptr);
      const int maximum = maximum_;
      lock.unlock();
      if (openWanted && !reader_) openReader();
      if (found) found(readNow(maximum));
      lock.lock();
    }
  }

  void openReader() {
    const auto deadline = Clock::now() + kOpenLimit;
    auto bus = atspi::openBus(
        environment_, [&] { return windows_->busAddress(deadline); }, deadline);
    if (bus.caller) reader_.emplace(std::move(bus.caller), *windows_);
    trust_ = bus.trust;
  }

  PointedElements readNow(int maximum) {
    if (!reader_) return {};
    PointedElements found = reader_->read(maximum, Clock::now() + kReadLimit);
    if (!reader_->connected()) {
      reader_.reset();
      trust_ = AccessibilityTrust::absent;
    }
    return found;
  }

  const atspi::BusEnvironment environment_;
  std::atomic<AccessibilityTrust> trust_ = AccessibilityTrust::absent;

  std::mutex mutex_;  // Guards the members up to thread_.
  std::condition_variable wake_;
  bool quit_ = false;
  bool openWanted_ = false;
  int maximum_ = 0;
  Found found_;

  std::thread thread_;
  // Used by the thread only.
  std::unique_ptr<WindowFinder> windows_;
  std::optional<atspi::AtSpiReader> reader_;
};

class AtSpiAccessibility final : public Accessibility {
 public:
  AtSpiAccessibility(const Environment& environment, std::unique_ptr<WindowFinder> windows)
      : worker_(atspi::readBusEnvironment(environment), std::move(windows)) {}

  AccessibilityTrust trust() override {
    affinity_.check("AtSpiAccessibility::trust");
    const AccessibilityTrust trust = worker_.trust();
    const auto now = Clock::now();
    if (trust != AccessibilityTrust::granted && (!opened_ || now - *opened_ >= kBetweenOpenings)) {
      opened_ = now;
      worker_.open();
    }
    return trust;
  }

  bool askPointedElements(int maximum, ElementsCallback answer) override {
    affinity_.check("AtSpiAccessibility::askPointedElements");
    if (answer_) return false;
    answer_ = std::move(answer);
    worker_.read(maximum, life_.onMain([this](const PointedElements& found) {
      if (const ElementsCallback open = std::exchange(answer_, nullptr)) open(found);
    }));
    return true;
  }

 private:
  ThreadAffinity affinity_;
  Lifetime life_;
  std::optional<Clock::time_point> opened_;
  ElementsCallback answer_;  // Of the pending request.
  Worker worker_;
};

}  // namespace

std::unique_ptr<Accessibility> makeAtSpiAccessibility(const Environment& environment,
                                                      std::unique_ptr<WindowFinder> windows) {
  return std::make_unique<AtSpiAccessibility>(environment, std::move(windows));
}

}  // namespace vantora
