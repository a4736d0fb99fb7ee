#include "main/base/MainThread.h"

#include <QCoreApplication>

namespace vantora {

void postToMain(std::function<void()> task) {
  QCoreApplication* application = QCoreApplication::instance();
  if (!application) return;
  QMetaObject::invokeMethod(application, std::move(task), Qt::QueuedConnection);
}

}  // namespace vantora
