// Tells the viewer which shape the host's pointer would show.
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

// Looks at the shape when the desktop says that the cursor changed, a tenth of a second after the pointer was used, and
// every half second, and sends each change once. The accessibility service is asked at most every 0.1 s, one request at
// a time, and only waited for a moment. Thread: main. Owner: Host. Lives across peer connections: what was sent last
// stays known.
class CursorMonitor {
 public:
  using ShapeAnswer = std::function<void(const QString& shape)>;
  using FoundAnswer = std::function<void(const std::optional<QString>& shape)>;
  // What a look at the shape stands on; everything referred to must outlive the monitor.
  struct Desktop {
    SystemCursor& cursor;
    Accessibility& accessibility;
  };

  // `cursorDebug`: log every look.
  CursorMonitor(Environment environment, Scheduler& scheduler, Desktop desktop, ControlSender& sender,
                bool cursorDebug);
  ~CursorMonitor();
  CursorMonitor(const CursorMonitor&) = delete;
  CursorMonitor& operator=(const CursorMonitor&) = delete;

  // Calling it while monitoring begins anew.
  void startCursorMonitoring();
  void stopCursorMonitoring();

  // One look; a shape that differs from the one sent last is sent. Nothing while not monitoring.
  void checkCursorShape();
  // The shape now. `answer` is called exactly once: before this returns when no accessibility service has to be asked,
  // else within the 0.3 s that it is waited for; never when the monitor dies before.
  void getCurrentCursorShape(ShapeAnswer answer);
  // The shape that belongs to the element under the pointer; none when no element decides. `answer` as above. An answer
  // younger than 0.1 s is given again, and a new look follows.
  void detectCursorShapeViaAX(FoundAnswer answer);
  // Sends "cursor_shape" on "control" when that exists, else on "control_reliable"; dropped when that is not open.
  void sendCursorShape(const QString& shape);

  // "cursor_query": sends the shape now, changed or not, then calls `acknowledge`; neither when another viewer took the
  // place of the one who asked.
  void handleCursorQuery(std::function<void()> acknowledge);
  // "test_cursor": sends the shape asked for, whatever it is. False: the message names none.
  [[nodiscard]] bool handleTestCursor(const JsonObject& message);

 private:
  void cursorChanged();
  void pointerUsed();
  void look();
  void finishLook(const std::optional<QString>& shape);
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
  std::unique_ptr<Timer> usedTimer_;           // From a use of the pointer to the look that follows it.
  std::unique_ptr<Timer> calmTimer_;           // While it runs, changes of the cursor wait.
  bool changedMeanwhile_ = false;

  // Those who want the shape: answered by the look that runs, and by the next one.
  std::vector<ShapeAnswer> answering_;
  std::vector<ShapeAnswer> waiting_;
  bool looking_ = false;
  bool checkWaiting_ = false;

  // The request to the accessibility service.
  FoundAnswer asker_;   // Set while it runs.
  quint64 serial_ = 0;  // Of the newest request.
  std::unique_ptr<Timer> timeout_;
  std::optional<std::chrono::nanoseconds> askedAt_;
  std::optional<QString> found_;
  std::unique_ptr<Timer> nextLook_;
  Lifetime life_;  // For late answers.
};

}  // namespace vantora
