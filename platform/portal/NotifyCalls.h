// The calls of a portal session that post input events.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <memory>
#include <vector>

#include "platform/portal/PortalSession.h"

namespace vantora {

// Sends calls without waiting for their replies, but counts those that are missing: a portal that does not respond gets
// kMaxUnanswered at most, and the releases of what they pressed. Thread: main.
class NotifyCalls {
 public:
  static constexpr int kMaxUnanswered = 256;
  // Further motions wait for a reply, the newest in place of older ones.
  static constexpr int kMotionsAhead = 16;

  // `session` must outlive this object.
  explicit NotifyCalls(PortalSession& session) : session_(session) {}

  // `arguments` are those after the session and the options; false: the portal does not respond, nothing was sent.
  bool send(const QString& method, const QVariantList& arguments);
  // The release of what an earlier call pressed.
  void sendRelease(const QString& method, const QVariantList& arguments);
  struct Call {
    QString method;
    QVariantList arguments;
  };
  // The calls of a motion of the pointer, which the next one replaces while it waits.
  bool sendMotion(std::vector<Call> motion);
  // The session has ended: nothing waits any more.
  void reset();

 private:
  void sendWaiting();
  void sendNow(const QString& method, const QVariantList& arguments);

  PortalSession& session_;
  std::unique_ptr<QObject> context_ = std::make_unique<QObject>();
  int unanswered_ = 0;
  std::vector<Call> waiting_;
};

}  // namespace vantora
