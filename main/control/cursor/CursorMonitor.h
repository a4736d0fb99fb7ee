// Reports the shape of the host's pointer to the viewer.
#pragma once

#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "base/Environment.h"
#include "base/Json.h"
#include "base/Lifetime.h"
#include "base/Scheduler.h"
#include "main/control/ControlChannel.h"
#include "platform/Accessibility.h"
#include "platform/SystemCursor.h"

namespace vantora {

// Checks the shape when the desktop reports a cursor change, 0.1 s after the pointer was used, and every 0.5 s, and
// sends each change once. The accessibility service is asked at most every 0.1 s, one request at a time, with a
// timeout. Thread: main. Owner: Host. Lives across peer connections: the shape sent last is remembered.
class CursorMonitor {
 public:
  using ShapeAnswer = std::function<void(const QString& shape)>;
  using FoundAnswer = std::function<void(const std::optional<QString>& shape)>;
  // The sources of the shape; both must outlive the monitor.
  struct Desktop {
    SystemCursor& cursor;
    Accessibility& accessibility;
  };

  // `cursorDebug`: log every check.
  CursorMonitor(Environment environment, Scheduler& scheduler, Desktop desktop, ControlSender& sender,
                bool cursorDebug);
  ~CursorMonitor();
  CursorMonitor(const CursorMonitor&) = delete;
  CursorMonitor& operator=(const CursorMonitor&) = delete;

  // Restarts monitoring when it is already running.
  void startCursorMonitoring();
  void stopCursorMonitoring();

  // Checks once and sends a shape that differs from the one sent last. Does nothing while not monitoring.
  void checkCursorShape();
  // Determines the present shape. `answer` is called exactly once: before this returns when no accessibility service
  // has to be asked, else within the timeout of 0.3 s; never after the monitor was destroyed.
  void getCurrentCursorShape(ShapeAnswer answer);
  // Determines the shape for the element under the pointer; nullopt when no element determines one. `answer` as above.
  // A result younger than 0.1 s is used again, and a new check follows.
  void detectCursorShapeViaAX(FoundAnswer answer);
  // Sends "cursor_shape" on "control" when that exists, else on "control_reliable"; dropped when that is not open.
  void sendCursorShape(const QString& shape);

  // "cursor_query": sends the present shape, changed or not, then calls `acknowledge`; does neither when the viewer was
  // replaced meanwhile.
  void handleCursorQuery(std::function<void()> acknowledge);
  // "test_cursor": sends the requested shape unchecked. False: the message holds no shape.
  [[nodiscard]] bool handleTestCursor(const JsonObject& message);

 private:
  void cursorChanged();
  void pointerUsed();
  void sample();
  void finishRequest(const std::optional<QString>& shape);
  QString systemShape() const;
  void debug(const QString& line) const;

  const Environment environment_;
  Scheduler& scheduler_;
  SystemCursor& cursor_;
  Accessibility& accessibility_;
  ControlSender& sender_;
  const bool cursorDebug_;
  QString lastCursorShape_;

  std::unique_ptr<Timer> cursorMonitorTimer_;  // Set while monitoring.
  std::unique_ptr<Timer> usedTimer_;           // From a use of the pointer to the check that follows it.
  std::unique_ptr<Timer> calmTimer_;           // While it runs, cursor changes are deferred.
  bool changedMeanwhile_ = false;

  // Requests for the shape: answered by the sample in progress, and by the next one.
  std::vector<ShapeAnswer> answering_;
  std::vector<ShapeAnswer> waiting_;
  bool sampling_ = false;
  bool checkWaiting_ = false;

  // The request to the accessibility service.
  FoundAnswer asker_;   // Set while it runs.
  quint64 serial_ = 0;  // Of the newest request.
  std::unique_ptr<Timer> timeout_;
  std::optional<std::chrono::nanoseconds> askedAt_;
  std::optional<QString> found_;
  std::unique_ptr<Timer> nextCheck_;
  Lifetime life_;  // For late replies.
};

}  // namespace vantora
