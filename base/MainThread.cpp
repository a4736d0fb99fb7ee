#include "base/MainThread.h"

#include <QCoreApplication>
#include <utility>

#if defined(__SANITIZE_THREAD__)
#define VANTORA_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VANTORA_THREAD_SANITIZER
#endif
#endif

#ifdef VANTORA_THREAD_SANITIZER
#include <mutex>
#endif

namespace vantora {
namespace {

// Taken where a task enters Qt's event queue and where it leaves it. The queue synchronises by itself, but with locks
// that the thread sanitizer cannot see; in its builds, and only there, this is a lock that it can see.
class QueueLock {
#ifdef VANTORA_THREAD_SANITIZER
 public:
  QueueLock() : lock_(mutex()) {}

 private:
  // Never destroyed: threads may post until the process ends.
  static std::mutex& mutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
  }
  const std::lock_guard<std::mutex> lock_;
#else
 public:
  QueueLock() {}  // NOLINT(modernize-use-equals-default): avoids unused-variable warnings.
#endif
};

}  // namespace

void postToMain(std::function<void()> task) {
  QCoreApplication* application = QCoreApplication::instance();
  if (!application) return;
  const QueueLock in;
  QMetaObject::invokeMethod(
      application,
      [task = std::move(task)]() mutable {
        { const QueueLock out; }
        // The queue may destroy this closure on the posting thread. The task's captures must be destroyed on the main
        // thread.
        const std::function<void()> taken = std::exchange(task, nullptr);
        taken();
      },
      Qt::QueuedConnection);
}

}  // namespace vantora
