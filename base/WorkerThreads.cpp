#include "base/WorkerThreads.h"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include "base/MainThread.h"
#include "base/process/AbandonableThread.h"

namespace vantora {
namespace {

struct Task {
  WorkerThreads::Work work;
  std::stop_source stop;
  TaskDone done;  // Main thread; null once the task is cancelled.
};

}  // namespace

// Shared with abandoned threads, so it may outlive WorkerThreads.
class WorkerThreads::Shared : public std::enable_shared_from_this<Shared> {
 public:
  Shared(QByteArray name, int threads) : name_(std::move(name)), maxThreads_(static_cast<std::size_t>(threads)) {}

  // Main thread.
  void add(std::shared_ptr<Task> task) {
    const std::lock_guard lock(mutex_);
    if (over_) return;
    waiting_.push_back(std::move(task));
    if (waiting_.size() > idle_ && threads_.size() < maxThreads_) {
      threads_.emplace_back([self = shared_from_this()] { self->work(); });
    }
    wake_.notify_one();
  }
  // Main thread.
  void cancel(const std::shared_ptr<Task>& task) {
    task->done = nullptr;
    task->stop.request_stop();
    const std::lock_guard lock(mutex_);
    std::erase(waiting_, task);
  }
  // Main thread. Whether all threads ended in time.
  [[nodiscard]] bool end() {
    {
      const std::lock_guard lock(mutex_);
      over_ = true;
      waiting_.clear();
      for (const auto& task : running_) {
        // Must not be destroyed by an abandoned thread.
        task->done = nullptr;
        task->stop.request_stop();
      }
    }
    wake_.notify_all();
    const auto deadline = AbandonableThread::Clock::now() + kTimeout;
    bool all = true;
    for (AbandonableThread& thread : threads_) all = thread.join(deadline) && all;
    threads_.clear();
    return all;
  }

 private:
  void work() {
#ifdef __linux__
    pthread_setname_np(pthread_self(), name_.constData());
#endif
    std::unique_lock lock(mutex_);
    for (;;) {
      ++idle_;
      wake_.wait(lock, [this] { return over_ || !waiting_.empty(); });
      --idle_;
      if (over_) return;
      auto task = std::move(waiting_.front());
      waiting_.pop_front();
      running_.push_back(task);
      lock.unlock();
      JsonObject result = task->work(task->stop.get_token());
      lock.lock();
      std::erase(running_, task);
      if (over_) return;
      // The closure holds the last reference, so that the task's captures are destroyed on the main thread. Under the
      // mutex, because nothing may be posted once end() has begun.
      postToMain([task = std::move(task), result = std::move(result)] {
        if (const TaskDone done = std::exchange(task->done, nullptr)) done(result);
      });
    }
  }

  const QByteArray name_;
  const std::size_t maxThreads_;
  std::vector<AbandonableThread> threads_;  // Main thread.
  // All threads, under the mutex.
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::shared_ptr<Task>> waiting_;
  std::vector<std::shared_ptr<Task>> running_;
  std::size_t idle_ = 0;
  bool over_ = false;
};

class WorkerThreads::Handle final : public BackgroundTask {
 public:
  Handle(std::weak_ptr<Shared> shared, std::shared_ptr<Task> task)
      : shared_(std::move(shared)), task_(std::move(task)) {}
  ~Handle() override {
    task_->done = nullptr;
    if (const auto shared = shared_.lock()) shared->cancel(task_);
  }

 private:
  std::weak_ptr<Shared> shared_;
  std::shared_ptr<Task> task_;
};

WorkerThreads::WorkerThreads(QByteArray name, int threads)
    : shared_(std::make_shared<Shared>(std::move(name), threads)) {}

WorkerThreads::~WorkerThreads() { (void)shared_->end(); }

std::unique_ptr<BackgroundTask> WorkerThreads::start(Work work, TaskDone done) {
  auto task = std::make_shared<Task>();
  task->work = std::move(work);
  task->done = std::move(done);
  shared_->add(task);
  return std::make_unique<Handle>(shared_, task);
}

}  // namespace vantora
