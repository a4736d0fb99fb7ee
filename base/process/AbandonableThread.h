// A thread that its owner need not wait for.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace vantora {

// Purpose: runs work that may never return, as a look at a file system whose server is gone, without taking its owner
// along. Whatever the work touches it must own, or share. Thread: one at a time. Owner: whoever wants the work done; an
// owner that is destroyed without having waited leaves the thread behind.
class AbandonableThread {
 public:
  using Clock = std::chrono::steady_clock;

  // Must not throw.
  explicit AbandonableThread(std::function<void()> work);
  ~AbandonableThread();
  AbandonableThread(AbandonableThread&&) noexcept = default;
  AbandonableThread& operator=(AbandonableThread&&) = delete;

  // Waits for the end of the work until `deadline`; false, and the thread is left behind, when it does not come. What
  // the work held is let go of by then, or later by the thread itself.
  [[nodiscard]] bool join(Clock::time_point deadline);

  // How many threads of this process that were left behind still run. Any thread.
  [[nodiscard]] static int leftBehind();
  // Whether one ever was: it may be anywhere in the program then, and what is destroyed at the end of a process must
  // stay. Any thread.
  [[nodiscard]] static bool wasAnyAbandoned();

 private:
  struct State;
  std::shared_ptr<State> state_;
  std::thread thread_;
};

}  // namespace vantora
