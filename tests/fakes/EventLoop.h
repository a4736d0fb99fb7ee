// Waiting for a condition while Qt's event loop runs.
#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <functional>

#include "tests/fakes/Timeout.h"

namespace vantora::testloop {

// The application object of the test program.
inline void ensureApplication() {
  static int argumentCount = 1;
  static char name[] = "test";
  static char* arguments[] = {name, nullptr};
  static QCoreApplication application(argumentCount, arguments);
}

// Runs the event loop until `condition` holds; false when it does not within a test's timeout.
[[nodiscard]] inline bool waitFor(const std::function<bool()>& condition, Timeout timeout = Timeout()) {
  QTimer wakeUp;  // The condition may become true without an event.
  wakeUp.start(5);
  while (!condition()) {
    if (timeout.isOver()) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
  }
  return true;
}

// Processes the events that are pending now, deferred deletions included.
inline void drain() {
  QCoreApplication::processEvents();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

}  // namespace vantora::testloop
