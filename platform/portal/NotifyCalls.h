// Input events as calls of the portal.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <cstddef>
#include <deque>
#include <memory>

#include "platform/portal/InputEvents.h"
#include "platform/portal/PortalSession.h"

namespace vantora {

// Queues calls and sends each after the reply to the one before: portals handle calls in threads, where one may
// overtake another. For a portal that does not respond kMaxQueued wait at most, and the releases of what they press.
// Thread: main.
class NotifyCalls final : public InputEvents {
 public:
  static constexpr std::size_t kMaxQueued = 4096;

  // `session` must outlive this object.
  explicit NotifyCalls(PortalSession& session) : session_(session) {}
  ~NotifyCalls() override;
  NotifyCalls(const NotifyCalls&) = delete;
  NotifyCalls& operator=(const NotifyCalls&) = delete;

  void dropWaiting() override;
  bool moveTo(std::uint32_t node, QPointF position, QPointF rest) override;
  bool moveBy(QPointF distance) override;
  bool pressButton(int button) override;
  void releaseButton(int button) override;
  bool pressKey(int key) override;
  void releaseKey(int key) override;
  bool takesSymbols() const override { return true; }
  bool tapSymbol(std::uint32_t keysym) override;
  bool busy() const override;
  bool delivered() const override;
  bool scrollNotches(ScrollAxis axis, int notches) override;
  bool scrollSmoothly(ScrollAxis axis, double units) override;
  // The session has ended: nothing waits any more.
  void reset();

 private:
  struct Call {
    QString method;
    QVariantList arguments;
    bool release = false;

    bool isKey() const { return method.startsWith(QLatin1String("NotifyKeyboard")); }
  };
  [[nodiscard]] bool send(const Call& call);
  void sendRelease(const Call& call);
  void enqueue(const Call& call);
  QDBusMessage message(const Call& call) const;
  void sendNext();

  PortalSession& session_;
  std::unique_ptr<QObject> context_ = std::make_unique<QObject>();
  bool unanswered_ = false;
  bool unansweredKey_ = false;  // It is a key.
  std::deque<Call> queue_;
  std::size_t motion_ = 0;  // So many calls at the end are a motion, which the next one replaces.
};

}  // namespace vantora
