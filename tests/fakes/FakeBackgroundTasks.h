// Background tasks that the test completes.
#pragma once

#include <map>

#include "base/BackgroundTask.h"

namespace vantora::fakes {

// Must outlive every task it started.
class FakeBackgroundTasks {
 public:
  TaskStarter starter() {
    return [this](TaskDone done) -> std::unique_ptr<BackgroundTask> {
      open_[++started] = std::move(done);
      return std::make_unique<Handle>(open_, started);
    };
  }
  // Tasks that are neither done nor cancelled.
  std::size_t open() const { return open_.size(); }
  // Completes the oldest open task.
  void finish(const JsonObject& result) {
    const auto oldest = open_.extract(open_.begin());
    oldest.mapped()(result);
  }

  int started = 0;

 private:
  using Open = std::map<int, TaskDone>;
  class Handle final : public BackgroundTask {
   public:
    Handle(Open& open, int number) : open_(open), number_(number) {}
    ~Handle() override { open_.erase(number_); }

   private:
    Open& open_;
    const int number_;
  };

  Open open_;
};

}  // namespace vantora::fakes
