// The session with the desktop portal in which the user lets this program see, and control, the desktop.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

#include "base/Lifetime.h"
#include "base/dbus/DBusNameWatcher.h"
#include "base/dbus/DBusSignal.h"
#include "base/process/FileDescriptor.h"
#include "platform/portal/PortalRequest.h"
#include "platform/portal/RestoreTokens.h"
#include "platform/portal/StreamAccess.h"

namespace vantora {

// What the user granted.
struct PortalGrant {
  std::vector<PortalStream> streams = {};
  // The session can have input at all: a user who refused it may grant it when asked again.
  bool inputOffered = false;
  bool pointer = false;
  bool keyboard = false;
  bool eis = false;  // Input may use a connection to the compositor.
  bool clipboard = false;
  bool control() const { return pointer && keyboard; }
};

// One session at a time, of RemoteDesktop with the streams of ScreenCast in it, or of ScreenCast alone where the
// desktop has no RemoteDesktop. Thread: main.
class PortalSession {
 public:
  enum class State {
    idle,
    preparing,  // The portal is asked what it can do, or restores an earlier consent.
    asking,     // The user is being asked.
    granted,
    refused,  // By the user or the portal; start() asks again.
    closed,   // The desktop has ended a session that it had granted.
  };
  // For steps in which nobody is asked. A portal that has to be started first takes seconds.
  static constexpr std::chrono::milliseconds kStepTimeout{30'000};

  // `busAddress` is that of the session bus. `changed`: the state is another one; not called by start() and close()
  // themselves.
  PortalSession(QString busAddress, RestoreTokens tokens, std::function<void()> changed,
                std::chrono::milliseconds stepTimeout = kStepTimeout);
  ~PortalSession();
  PortalSession(const PortalSession&) = delete;
  PortalSession& operator=(const PortalSession&) = delete;

  // Asks for the session; no effect while one is granted or on its way.
  void start();
  // Ends the session, or the question for it, without a word to anybody else. Idle afterwards.
  void close();

  // Ends the session that is granted, as if the desktop had done so.
  void end(const QString& reason);

  State state() const { return state_; }
  // Why the session was refused or closed.
  const QString& reason() const { return reason_; }
  // Empty unless granted.
  const PortalGrant& grant() const { return grant_; }
  // The connection and the path of the session that is granted; the path is empty otherwise.
  const QDBusConnection& bus() const { return bus_; }
  const QString& path() const { return path_; }

  // Gets an empty descriptor and the error when that fails. Called later, unless the session ends before.
  using DescriptorCallback = std::function<void(FileDescriptor descriptor, const QString& error)>;
  // Opens a PipeWire connection that may open the streams.
  void openRemote(DescriptorCallback done);
  // Opens a connection for input to the compositor; the session's own calls for input are refused from then on.
  void connectToEis(DescriptorCallback done);

  // Seconds after which a start with a stored token counts as a question to the user.
  static constexpr std::chrono::milliseconds kRestoreTime{1500};

 private:
  struct Versions {
    uint screenCast = 0;
    uint cursorModes = 0;
    uint remoteDesktop = 0;
    uint deviceTypes = 0;
    uint clipboard = 0;
  };
  // What belongs to one start; replaced as a whole.
  struct Attempt {
    QObject context;
    Versions versions;
    int propertiesMissing = 0;
    bool portalMissing = false;
    bool withToken = false;
    QString sessionPath;
    std::unique_ptr<PortalRequest> request;
    std::unique_ptr<DBusSignal> closed;
    std::unique_ptr<DBusSignal> disconnected;
    std::unique_ptr<DBusNameWatcher> portal;
    bool portalSeen = false;
  };

  void connect();
  void disconnect();
  void askVersions();
  void readProperties(const QString& interface, const QVariantMap& properties);
  void createSession();
  void selectDevices();
  void requestClipboard();
  void selectSources();
  void askUser();
  void granted(const QVariantMap& results);
  void step(const QString& interface, const QString& method, const QVariantList& arguments, const QVariantMap& options,
            std::function<void(const QVariantMap& results)> next);
  QString mainInterface() const;
  RestoreTokens::Kind tokenKind() const;
  void addToken(QVariantMap& options);
  void watchSession(const QString& path);
  void startWithoutToken();
  void refuse(const QString& reason);
  void desktopEnded(const QString& reason);
  void endSession();
  void openDescriptor(const QString& interface, const QString& method, DescriptorCallback done);
  void setState(State state);

  const QString busAddress_;
  const RestoreTokens tokens_;
  const std::function<void()> changed_;
  const std::chrono::milliseconds stepTimeout_;
  QDBusConnection bus_;
  State state_ = State::idle;
  QString reason_;
  QString path_;
  PortalGrant grant_;
  std::unique_ptr<Attempt> attempt_;
};

}  // namespace vantora
