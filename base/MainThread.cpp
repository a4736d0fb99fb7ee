#include "base/MainThread.h"

#include <QCoreApplication>
#include <mutex>

namespace vantora {
namespace {

// Qt's event queue hands tasks over safely by itself, with locks that the thread sanitizer cannot see; it sees this
// one. Never destroyed: threads may post until the very end.
std::mutex& handOver() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

}  // namespace

void postToMain(std::function<void()> task) {
  QCoreApplication* application = QCoreApplication::instance();
  if (!application) return;
  const std::lock_guard lock(handOver());
  QMetaObject::invokeMethod(
      application,
      [task = std::move(task)] {
        { const std::lock_guard taken(handOver()); }
        task();
      },
      Qt::QueuedConnection);
}

}  // namespace vantora
