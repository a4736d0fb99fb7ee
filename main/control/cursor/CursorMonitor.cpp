#include "main/control/cursor/CursorMonitor.h"

#include <utility>

#include "base/Log.h"
#include "main/control/cursor/CursorShapes.h"
#include "main/control/cursor/ElementShape.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

constexpr auto kFirstLook = 100ms;
constexpr auto kPeriod = 500ms;
constexpr auto kAfterUse = 100ms;
// Programs may change their cursor as often as they like; the viewer's eye needs no more than this.
constexpr auto kCalm = 20ms;
// The least time between two requests to the accessibility service, and the longest wait for one.
constexpr auto kBetweenRequests = 100ms;
constexpr auto kTimeout = 300ms;
// Viewers' questions that wait for one answer; more than this is a flood, and gets what is known.
constexpr std::size_t kMostWaiting = 64;

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
  cursorMonitorTimer_ = scheduler_.every(kFirstLook, kPeriod, [this] { checkCursorShape(); });
  usedTimer_.reset();
  cursor_.watch({.cursorChanged = [this] { cursorChanged(); }, .pointerUsed = [this] { pointerUsed(); }});
  cursor_.armPointerNotice();
}

void CursorMonitor::stopCursorMonitoring() {
  cursorMonitorTimer_.reset();
  usedTimer_.reset();
  calmTimer_.reset();
  nextLook_.reset();
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
    cursor_.armPointerNotice();
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
  QString shape = mapNSCursorToWebCursor(*cursor);
  debug(u"Fallback NSCursor: "_s + shape);
  return shape;
}

void CursorMonitor::getCurrentCursorShape(ShapeAnswer answer) {
  if (environment_.equals("CURSOR_TEST", "1"_L1)) return answer(simulateTestCursor(scheduler_.unixNow()));
  if (waiting_.size() >= kMostWaiting) return answer(found_ ? *found_ : systemShape());
  waiting_.push_back(std::move(answer));
  if (!looking_) look();
}

// Answers everybody who waits, and again whoever came meanwhile.
void CursorMonitor::look() {
  looking_ = true;
  answering_ = std::exchange(waiting_, {});
  detectCursorShapeViaAX([this](const std::optional<QString>& found) {
    if (found) debug(u"Detected via Accessibility: "_s + *found);
    const QString shape = found ? *found : systemShape();
    for (const ShapeAnswer& answer : std::exchange(answering_, {})) answer(shape);
    looking_ = false;
    if (!waiting_.empty()) look();
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
    if (cursorMonitorTimer_ && !nextLook_) {
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(*askedAt_ + kBetweenRequests - now);
      nextLook_ = scheduler_.after(rest, [this] {
        nextLook_.reset();
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
        if (serial == serial_) finishLook(elementShape(pointed.elements, pointed.pointer));
      }));
  // An application has not answered the last request: the cursor itself has to do.
  if (!asked) return finishLook(std::nullopt);
  if (asker_) timeout_ = scheduler_.after(kTimeout, [this] { finishLook(std::nullopt); });
}

void CursorMonitor::finishLook(const std::optional<QString>& shape) {
  ++serial_;  // Whatever comes now is late.
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
