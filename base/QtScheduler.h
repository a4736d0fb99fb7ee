// Scheduler over Qt timers. Thread: any thread with an event loop; timers fire on the thread that
// made them.
#pragma once

#include "base/Scheduler.h"

namespace vantora {

class QtScheduler final : public Scheduler {
 public:
  std::chrono::nanoseconds monotonicNow() const override;
  std::chrono::nanoseconds unixNow() const override;
  std::unique_ptr<Timer> after(std::chrono::milliseconds delay, Callback callback) override;
  std::unique_ptr<Timer> every(std::chrono::milliseconds first, std::chrono::milliseconds period,
                               Callback callback) override;
};

}  // namespace vantora
