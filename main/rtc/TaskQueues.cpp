#include "main/rtc/TaskQueues.h"

#include <api/task_queue/default_task_queue_factory.h>

#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace vantora {
namespace {

using Queue = std::unique_ptr<webrtc::TaskQueueBase, webrtc::TaskQueueDeleter>;
using Task = absl::AnyInvocable<void() &&>;
using Clock = std::chrono::steady_clock;

class BatchedTaskQueue final : public webrtc::TaskQueueBase {
 public:
  explicit BatchedTaskQueue(Queue inner) : inner_(std::move(inner)) {}

  void Delete() override {
    // Its last task may still post some to this one.
    inner_.get()->Delete();
    (void)inner_.release();
    delete this;
  }

  void PostTask(Task task) override {
    {
      const std::scoped_lock lock(mutex_);
      ++posted_;
      tasks_.push_back(std::move(task));
      if (std::exchange(scheduled_, true)) return;
    }
    inner_->PostTask([this] { runBatch(); });
  }

  void PostDelayedTask(Task task, webrtc::TimeDelta delay) override {
    inner_->PostDelayedTask(here(std::move(task)), isQuiet() ? untilTick(delay) : delay);
  }

  void PostDelayedHighPrecisionTask(Task task, webrtc::TimeDelta delay) override {
    inner_->PostDelayedHighPrecisionTask(here(std::move(task)), delay);
  }

 private:
  ~BatchedTaskQueue() override = default;

  // Whether few tasks have been posted of late.
  bool isQuiet() {
    const std::scoped_lock lock(mutex_);
    const Clock::time_point now = Clock::now();
    if (now - counted_ >= kQuietAfter) {
      quiet_ = posted_ <= kQuietTasks;
      posted_ = 0;
      counted_ = now;
    }
    return quiet_ && posted_ <= kQuietTasks;
  }

  // `delay`, made longer until its end is a multiple of kQuietTick.
  static webrtc::TimeDelta untilTick(webrtc::TimeDelta delay) {
    const auto due = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch()) +
                     std::chrono::microseconds(delay.us());
    return delay + webrtc::TimeDelta::Micros(((kQuietTick - due % kQuietTick) % kQuietTick).count());
  }

  // The task, run as one of this queue.
  Task here(Task task) {
    return [this, task = std::move(task)]() mutable {
      const CurrentTaskQueueSetter setter(this);
      std::move(task)();
    };
  }

  void runBatch() {
    std::this_thread::sleep_until(last_ + kTaskBatch);
    last_ = Clock::now();
    std::vector<Task> batch;
    {
      const std::scoped_lock lock(mutex_);
      batch.swap(tasks_);
      scheduled_ = false;
    }
    const CurrentTaskQueueSetter setter(this);
    for (Task& task : batch) {
      std::move(task)();
      task = nullptr;
    }
  }

  Queue inner_;
  Clock::time_point last_;  // Used by the queue's own tasks only.
  std::mutex mutex_;
  std::vector<Task> tasks_;
  bool scheduled_ = false;
  // Tasks posted since counted_, and whether there were few before that.
  int posted_ = 0;
  Clock::time_point counted_ = Clock::now();
  bool quiet_ = false;
};

class TaskQueues final : public webrtc::TaskQueueFactory {
 public:
  Queue CreateTaskQueue(absl::string_view name, Priority priority) const override {
    Queue queue = queues_->CreateTaskQueue(name, priority);
    return name == "rtp_send_controller" ? makeBatchedTaskQueue(std::move(queue)) : std::move(queue);
  }

 private:
  std::unique_ptr<webrtc::TaskQueueFactory> queues_ = webrtc::CreateDefaultTaskQueueFactory();
};

}  // namespace

std::unique_ptr<webrtc::TaskQueueFactory> makeTaskQueues() { return std::make_unique<TaskQueues>(); }

Queue makeBatchedTaskQueue(Queue inner) { return Queue(new BatchedTaskQueue(std::move(inner))); }

}  // namespace vantora
