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

// Stands where a task goes into Qt's event queue and where it comes out. The queue hands tasks and its own memory over
// safely by itself, but with locks that the thread sanitizer cannot see: in its builds, and there alone, this is one
// that it can.
class Passage {
#ifdef VANTORA_THREAD_SANITIZER
 public:
  Passage() : lock_(mutex()) {}

 private:
  // Never destroyed: threads may post until the very end.
  static std::mutex& mutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
  }
  const std::lock_guard<std::mutex> lock_;
#else
 public:
  Passage() {}  // NOLINT(modernize-use-equals-default): a variable of it counts as used.
#endif
};

}  // namespace

void postToMain(std::function<void()> task) {
  QCoreApplication* application = QCoreApplication::instance();
  if (!application) return;
  const Passage in;
  QMetaObject::invokeMethod(
      application,
      [task = std::move(task)]() mutable {
        { const Passage out; }
        // The queue may let go of this closure on the thread that posted it. What the task holds goes on the main
        // thread.
        const std::function<void()> taken = std::exchange(task, nullptr);
        taken();
      },
      Qt::QueuedConnection);
}

}  // namespace vantora
