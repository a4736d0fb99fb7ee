// Notifications of the desktop for chat and reactions.
#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QQueue>
#include <functional>
#include <memory>
#include <optional>

#include "base/InfoDictionary.h"
#include "base/dbus/DBusNameWatcher.h"
#include "base/dbus/DBusSignal.h"

namespace vantora {

// One notification per message over org.freedesktop.Notifications; none replaces another. Nothing blocks: with an
// absent or restarted server messages may be lost, with a slow one they are late. Up to kMaxWaiting notifications wait
// while the server is slower than they arrive; they are dropped when it has replied to nothing for `timeoutMs`. Thread:
// main (of the interface). Owner: UserInterface.
class UserNotifications {
 public:
  static constexpr int kMaxUnanswered = 200;
  static constexpr qsizetype kMaxWaiting = 2000;

  // `clicked`: the user pressed one of our notifications.
  UserNotifications(const QDBusConnection& bus, const InfoDictionary& info, std::function<void()> clicked,
                    int timeoutMs = 10000);

  // With an application identifier the notification follows a tenth of a second later and a failure is logged; without
  // one it is delivered at once and failures are not logged.
  void deliverHostNotification(const QString& title, const QString& body);

 private:
  struct Waiting {
    QString title;
    QString body;
  };

  void add(const Waiting& notification);
  void queryCapabilities();
  void sendWaiting();
  void send(const Waiting& notification);
  void dropWaiting();
  void failed(const QString& reason) const;
  void pressed(const QDBusMessage& signal);
  void forget(uint id);

  QDBusConnection bus_;
  const QString applicationName_;
  const std::optional<QString> identifier_;
  const std::function<void()> clicked_;
  const int timeoutMs_;
  // Whether the server reads its texts as markup; empty until it has reported that.
  std::optional<bool> markup_;
  bool asking_ = false;
  // Wait for the server's capabilities and for replies to earlier notifications; bounded.
  QQueue<Waiting> waiting_;
  // Sent without a reply yet; bounded.
  int unanswered_ = 0;
  // Replies so far.
  qint64 replies_ = 0;
  // Numbers of notifications on screen or in the server's list, oldest first; bounded.
  QList<uint> ours_;
  // Destroyed first: its callbacks use the members above.
  QObject context_;
  std::unique_ptr<DBusSignal> action_;
  std::unique_ptr<DBusSignal> closed_;
  std::unique_ptr<DBusSignal> token_;
  std::unique_ptr<DBusNameWatcher> presence_;
};

}  // namespace vantora
