// Input events as calls of the portal.
#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>
#include <memory>
#include <vector>

#include "platform/portal/InputEvents.h"
#include "platform/portal/PortalSession.h"

namespace vantora {

// Sends calls without waiting for their replies, but counts those that are missing: a portal that does not respond gets
// kMaxUnanswered at most, and the releases of what they pressed.
class NotifyCalls final : public InputEvents {
 public:
  static constexpr int kMaxUnanswered = 256;
  // Further motions wait for a reply, the newest in place of older ones.
  static constexpr int kMotionsAhead = 16;

  // `session` must outlive this object.
  explicit NotifyCalls(PortalSession& session) : session_(session) {}

  bool moveTo(std::uint32_t node, QPointF position, QPointF rest) override;
  bool moveBy(QPointF distance) override;
  bool pressButton(int button) override;
  void releaseButton(int button) override;
  bool pressKey(int key) override;
  void releaseKey(int key) override;
  bool scrollNotches(ScrollAxis axis, int notches) override;
  bool scrollSmoothly(ScrollAxis axis, double units) override;
  // The session has ended: nothing waits any more.
  void reset();

 private:
  struct Call {
    QString method;
    QVariantList arguments;
  };
  [[nodiscard]] bool send(const Call& call);
  void sendRelease(const Call& call);
  void sendWaiting();
  void sendNow(const Call& call);

  PortalSession& session_;
  std::unique_ptr<QObject> context_ = std::make_unique<QObject>();
  int unanswered_ = 0;
  std::vector<Call> waiting_;  // The newest motion.
};

}  // namespace vantora
