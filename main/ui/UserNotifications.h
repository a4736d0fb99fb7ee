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
#include "main/ui/dbus/DBusPresence.h"
#include "main/ui/dbus/DBusSignal.h"

namespace vantora {

// One notification per message over org.freedesktop.Notifications; none replaces another. Waits for nothing: a server
// that is absent or restarted costs messages at worst, a slow one only time. Of what arrives faster than the server
// answers, kMostWaiting wait; they are given up when it has answered nothing for `timeoutMs`. Thread: main (of the
// interface). Owner: UserInterface.
class UserNotifications {
 public:
  static constexpr int kMostUnanswered = 200;
  static constexpr qsizetype kMostWaiting = 2000;

  // `clicked`: the user pressed one of our notifications.
  UserNotifications(const QDBusConnection& bus, const InfoDictionary& info, std::function<void()> clicked,
                    int timeoutMs = 10000);

  // With an application identifier the notification follows a tenth of a second later and a failure is logged; without
  // one it is delivered at once and in silence.
  void deliverHostNotification(const QString& title, const QString& body);

 private:
  struct Waiting {
    QString title;
    QString body;
  };

  void add(const Waiting& notification);
  void askAbilities();
  void sendWaiting();
  void send(const Waiting& notification);
  void giveUpWaiting();
  void failed(const QString& reason) const;
  void pressed(const QDBusMessage& signal);
  void forget(uint id);

  QDBusConnection bus_;
  const QString applicationName_;
  const std::optional<QString> identifier_;
  const std::function<void()> clicked_;
  const int timeoutMs_;
  // Whether the server reads its texts as markup; none until it has said so.
  std::optional<bool> markup_;
  bool asking_ = false;
  // Until the server's abilities are known and earlier ones were answered; bounded.
  QQueue<Waiting> waiting_;
  // Sent and not answered yet; bounded.
  int unanswered_ = 0;
  // How many were answered so far.
  qint64 answers_ = 0;
  // Numbers of notifications that stand on screen or in the list, oldest first; bounded.
  QList<uint> ours_;
  // Goes first: its answers use what is above.
  QObject context_;
  std::unique_ptr<DBusSignal> action_;
  std::unique_ptr<DBusSignal> closed_;
  std::unique_ptr<DBusSignal> token_;
  std::unique_ptr<DBusPresence> presence_;
};

}  // namespace vantora
