#include "main/control/files/FileQueue.h"

#include <pthread.h>

#include <utility>

namespace vantora {

FileQueue::FileQueue(qint64 limit) : limit_(limit), thread_([this] { run(); }) {
  // The full name is "vantora.filetransfer"; the system limits a thread's name to fifteen characters.
  pthread_setname_np(thread_.native_handle(), "vantora.filetra");
}

FileQueue::~FileQueue() {
  std::deque<Entry> dropped;
  {
    const std::lock_guard lock(mutex_);
    quit_ = true;
    dropped.swap(waiting_);
  }
  wake_.notify_one();
  dropped.clear();
  thread_.join();
}

bool FileQueue::post(qint64 bytes, Task task) {
  {
    const std::lock_guard lock(mutex_);
    if (bytes > limit_ - waitingBytes_) return false;
    waitingBytes_ += bytes;
    waiting_.push_back({bytes, std::move(task)});
  }
  wake_.notify_one();
  return true;
}

void FileQueue::postAlways(Task task) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({0, std::move(task)});
  }
  wake_.notify_one();
}

void FileQueue::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return quit_ || !waiting_.empty(); });
    if (quit_) return;
    Entry entry = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    entry.task();
    entry.task = nullptr;  // Free what the task holds before its bytes stop counting.
    lock.lock();
    waitingBytes_ -= entry.bytes;
  }
}

}  // namespace vantora
