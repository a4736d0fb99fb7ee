// Calls of a desktop portal whose answer may need the user.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <chrono>
#include <functional>
#include <memory>

#include "base/dbus/DBusSignal.h"

namespace vantora {

// Names of the portal on the bus.
namespace portal {
inline const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
inline const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
inline const QString kScreenCast = QStringLiteral("org.freedesktop.portal.ScreenCast");
inline const QString kRemoteDesktop = QStringLiteral("org.freedesktop.portal.RemoteDesktop");
inline const QString kClipboard = QStringLiteral("org.freedesktop.portal.Clipboard");
inline const QString kSession = QStringLiteral("org.freedesktop.portal.Session");

// A word that no other request or session of this connection has.
QString freshToken();
// The object that the portal makes for a request ("request") or a session ("session") with this token.
QString objectPath(const QDBusConnection& bus, const QString& kind, const QString& token);
}  // namespace portal

struct PortalResponse {
  enum class Outcome {
    success,
    cancelled,  // The user said no.
    failed,     // Ended in another way, for instance because the portal does not respond.
  };
  Outcome outcome = Outcome::failed;
  QVariantMap results = {};
  QString error = {};  // Of a failure, for the log.
};

// One call. Thread: main. Destroying it ends the request: its dialog closes.
class PortalRequest {
 public:
  using Answered = std::function<void(const PortalResponse& response)>;
  // Without a response after `timeout` it has failed; zero: a user may take any time. `answered` is called once, from
  // the event loop, unless this object is destroyed before; it may destroy this object.
  PortalRequest(const QDBusConnection& bus, const QString& interface, const QString& method,
                const QVariantList& arguments, QVariantMap options, std::chrono::milliseconds timeout,
                Answered answered);
  ~PortalRequest();
  PortalRequest(const PortalRequest&) = delete;
  PortalRequest& operator=(const PortalRequest&) = delete;

 private:
  void finish(PortalResponse response);

  QDBusConnection bus_;
  Answered answered_;
  QString path_;
  std::unique_ptr<DBusSignal> response_;
  QObject context_;
};

}  // namespace vantora
