// A thread that its owner need not wait for.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace vantora {

// Purpose: runs work that may never return, such as access to a file system whose server is gone, without blocking its
// owner. The work must own or share everything it uses. Thread: one at a time. Owner: whoever starts the work;
// destroying this object before the work has ended abandons the thread.
class AbandonableThread {
 public:
  using Clock = std::chrono::steady_clock;

  // Must not throw.
  explicit AbandonableThread(std::function<void()> work);
  ~AbandonableThread();
  AbandonableThread(AbandonableThread&&) noexcept = default;
  AbandonableThread& operator=(AbandonableThread&&) = delete;

  // Waits for the end of the work until `deadline`; false when the work has not ended, and the thread is abandoned. The
  // thread itself destroys the work's captures: before join() returns true, otherwise later.
  [[nodiscard]] bool join(Clock::time_point deadline);

  // Number of abandoned threads of this process that still run. Any thread.
  [[nodiscard]] static int abandonedCount();
  // Whether a thread was ever abandoned: it may be running any code, so objects must not be destroyed at process exit.
  // Any thread.
  [[nodiscard]] static bool wasAnyAbandoned();

 private:
  struct State;
  std::shared_ptr<State> state_;
  std::thread thread_;
};

}  // namespace vantora
