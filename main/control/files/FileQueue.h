// The serial queue of all work on received files.
#pragma once

#include <QtGlobal>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace vantora {

// Owns the thread "vantora.filetransfer", on which tasks run one after another in the order they were posted. The queue
// is bounded: a disk slower than the viewer cannot use up the memory. Methods: main thread. Owner: FileReceiver.
class FileQueue {
 public:
  using Task = std::function<void()>;

  // At most `limit` bytes wait, as passed to post().
  explicit FileQueue(qint64 limit);
  // Waits for the running task; tasks that have not begun are dropped.
  ~FileQueue();
  FileQueue(const FileQueue&) = delete;
  FileQueue& operator=(const FileQueue&) = delete;

  // Queues `task`, which holds about `bytes` bytes. False, with nothing queued, when that would exceed the limit.
  [[nodiscard]] bool post(qint64 bytes, Task task);
  // Queues a task that does not count against the limit; the caller ensures that there are few of them.
  void postAlways(Task task);

 private:
  struct Entry {
    qint64 bytes;
    Task task;
  };
  void run();

  const qint64 limit_;
  std::mutex mutex_;
  std::condition_variable wake_;
  // Guarded by the mutex.
  std::deque<Entry> waiting_;
  qint64 waitingBytes_ = 0;  // Includes the running task.
  bool quit_ = false;

  std::thread thread_;  // Last: it uses all of the above.
};

}  // namespace vantora
