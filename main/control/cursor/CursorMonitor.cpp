#include "main/control/cursor/CursorMonitor.h"

#include <utility>

#include "base/Log.h"
#include "main/control/cursor/CursorShapes.h"
#include "main/control/cursor/ElementShape.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

constexpr auto kFirstCheck = 100ms;
constexpr auto kPeriod = 500ms;
constexpr auto kAfterUse = 100ms;
// Minimum time between checks after cursor changes: some programs change their cursor far more often than is visible.
constexpr auto kCalm = 20ms;
// Minimum time between two requests to the accessibility service, and the timeout of one.
constexpr auto kBetweenRequests = 100ms;
constexpr auto kTimeout = 300ms;
// Maximum number of requests that wait for one result; further ones get the last known shape.
constexpr std::size_t kMaxWaiting = 64;

}  // namespace

CursorMonitor::CursorMonitor(Environment environment, Scheduler& scheduler, Desktop desktop, ControlSender& sender,
                             bool cursorDebug)
    : environment_(std::move(environment)),
      scheduler_(scheduler),
      cursor_(desktop.cursor),
      accessibility_(desktop.accessibility),
      sender_(sender),
      cursorDebug_(cursorDebug) {}

CursorMonitor::~CursorMonitor() { stopCursorMonitoring(); }

void CursorMonitor::debug(const QString& line) const {
  if (cursorDebug_) logLine(u"[cursor] "_s + line);
}

void CursorMonitor::startCursorMonitoring() {
  debug(u"Starting cursor shape monitoring"_s);
  cursorMonitorTimer_ = scheduler_.every(kFirstCheck, kPeriod, [this] { checkCursorShape(); });
  usedTimer_.reset();
  cursor_.watch({.cursorChanged = [this] { cursorChanged(); }, .pointerUsed = [this] { pointerUsed(); }});
  cursor_.armPointerEvent();
}

void CursorMonitor::stopCursorMonitoring() {
  cursorMonitorTimer_.reset();
  usedTimer_.reset();
  calmTimer_.reset();
  nextCheck_.reset();
  changedMeanwhile_ = false;
  cursor_.unwatch();
}

void CursorMonitor::cursorChanged() {
  if (calmTimer_) {
    changedMeanwhile_ = true;
    return;
  }
  calmTimer_ = scheduler_.after(kCalm, [this] {
    calmTimer_.reset();
    if (std::exchange(changedMeanwhile_, false)) cursorChanged();
  });
  checkCursorShape();
}

void CursorMonitor::pointerUsed() {
  usedTimer_ = scheduler_.after(kAfterUse, [this] {
    usedTimer_.reset();
    cursor_.armPointerEvent();
    checkCursorShape();
  });
}

void CursorMonitor::checkCursorShape() {
  if (!cursorMonitorTimer_ || checkWaiting_) return;
  checkWaiting_ = true;
  getCurrentCursorShape([this](const QString& shape) {
    checkWaiting_ = false;
    if (!cursorMonitorTimer_ || shape == lastCursorShape_) return;
    lastCursorShape_ = shape;
    debug(u"Shape changed to: "_s + shape);
    sendCursorShape(shape);
  });
}

QString CursorMonitor::systemShape() const {
  const auto cursor = cursor_.currentCursor();
  if (!cursor) return u"default"_s;
  QString shape = mapNSCursorToWebCursor(cursor->name);
  debug(u"Fallback NSCursor: "_s + shape);
  return shape;
}

void CursorMonitor::getCurrentCursorShape(ShapeAnswer answer) {
  if (environment_.equals("CURSOR_TEST", "1"_L1)) return answer(simulateTestCursor(scheduler_.unixNow()));
  if (waiting_.size() >= kMaxWaiting) return answer(found_ ? *found_ : systemShape());
  waiting_.push_back(std::move(answer));
  if (!sampling_) sample();
}

// Answers all waiting requests, then repeats for those that came meanwhile.
void CursorMonitor::sample() {
  sampling_ = true;
  answering_ = std::exchange(waiting_, {});
  detectCursorShapeViaAX([this](const std::optional<QString>& found) {
    if (found) debug(u"Detected via Accessibility: "_s + *found);
    const QString shape = found ? *found : systemShape();
    for (const ShapeAnswer& answer : std::exchange(answering_, {})) answer(shape);
    sampling_ = false;
    if (!waiting_.empty()) sample();
  });
}

void CursorMonitor::detectCursorShapeViaAX(FoundAnswer answer) {
  const AccessibilityTrust trust = accessibility_.trust();
  if (trust == AccessibilityTrust::refused && sender_.isOpen(ControlChannel::reliable)) {
    sender_.send(ControlChannel::reliable,
                 {{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"accessibility"_s}});
  }
  if (trust != AccessibilityTrust::granted) return answer(std::nullopt);

  const auto now = scheduler_.monotonicNow();
  if (askedAt_ && now - *askedAt_ < kBetweenRequests) {
    if (cursorMonitorTimer_ && !nextCheck_) {
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(*askedAt_ + kBetweenRequests - now);
      nextCheck_ = scheduler_.after(rest, [this] {
        nextCheck_.reset();
        checkCursorShape();
      });
    }
    return answer(found_);
  }
  askedAt_ = now;
  asker_ = std::move(answer);
  const quint64 serial = ++serial_;
  const bool asked =
      accessibility_.askPointedElements(kElementsWalked, life_.guard([this, serial](const PointedElements& pointed) {
        if (serial == serial_) finishRequest(elementShape(pointed.elements, pointed.pointer));
      }));
  // An application has not answered the last request: the cursor itself is used.
  if (!asked) return finishRequest(std::nullopt);
  if (asker_) timeout_ = scheduler_.after(kTimeout, [this] { finishRequest(std::nullopt); });
}

void CursorMonitor::finishRequest(const std::optional<QString>& shape) {
  ++serial_;  // A reply that comes now is late.
  timeout_.reset();
  found_ = shape;
  if (const auto answer = std::exchange(asker_, nullptr)) answer(shape);
}

void CursorMonitor::sendCursorShape(const QString& shape) {
  const ControlChannel channel =
      sender_.exists(ControlChannel::control) ? ControlChannel::control : ControlChannel::reliable;
  sender_.send(channel, {{u"type"_s, u"cursor_shape"_s},
                         {u"shape"_s, shape},
                         {u"timestamp"_s, static_cast<qint64>(scheduler_.unixMilliseconds())}});
}

void CursorMonitor::handleCursorQuery(std::function<void()> acknowledge) {
  getCurrentCursorShape(
      [this, asker = sender_.connection(), acknowledge = std::move(acknowledge)](const QString& shape) {
        // The viewer may have been replaced while the accessibility service was asked.
        if (asker != sender_.connection()) return;
        debug(u"Cursor query → sending: "_s + shape);
        sendCursorShape(shape);
        acknowledge();
      });
}

bool CursorMonitor::handleTestCursor(const JsonObject& message) {
  const auto shape = stringField(message, "shape"_L1);
  if (!shape) return false;
  debug(u"Test cursor shape requested: "_s + *shape);
  sendCursorShape(*shape);
  return true;
}

}  // namespace vantora
