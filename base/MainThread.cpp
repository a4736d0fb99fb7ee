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
#include <sanitizer/tsan_interface.h>
extern "C" {
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
}
#endif

namespace vantora {
namespace {

// Qt's event queue orders a task after the thread that posted it, but with locks that the thread sanitizer cannot see.
// In its builds, and only there, these calls state that order, for each task alone: a lock of all tasks would also
// order what nothing orders, and hide races. What the posting thread writes into the queue itself is not checked.
#ifdef VANTORA_THREAD_SANITIZER
void releaseTo(void* key) { __tsan_release(key); }
void acquireFrom(void* key) { __tsan_acquire(key); }
class UncheckedQueue {
 public:
  UncheckedQueue() {
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
  }
  ~UncheckedQueue() {
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
  }
  UncheckedQueue(const UncheckedQueue&) = delete;
  UncheckedQueue& operator=(const UncheckedQueue&) = delete;
};
#else
void releaseTo(void*) {}
void acquireFrom(void*) {}
struct UncheckedQueue {};
#endif

// Moved into its place in the queue by the posting thread, called on the main thread, destroyed on either.
class PostedTask {
 public:
  explicit PostedTask(std::function<void()> task) : task_(std::move(task)) {}
  PostedTask(PostedTask&& other) noexcept : task_(std::move(other.task_)) { releaseTo(this); }

  void operator()() {
    acquireFrom(this);
    // The task's captures must be destroyed here, on the main thread.
    const std::function<void()> taken = std::exchange(task_, nullptr);
    taken();
  }

 private:
  std::function<void()> task_;
};

}  // namespace

void postToMain(std::function<void()> task) {
  QCoreApplication* application = QCoreApplication::instance();
  if (!application) return;
  PostedTask posted(std::move(task));
  [[maybe_unused]] const UncheckedQueue queue;
  QMetaObject::invokeMethod(application, std::move(posted), Qt::QueuedConnection);
}

}  // namespace vantora
