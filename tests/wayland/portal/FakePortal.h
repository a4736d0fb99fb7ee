// The desktop's portal on a bus of the test.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QPoint>
#include <QSize>
#include <QVariantMap>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "base/process/FileDescriptor.h"

namespace vantora::testportal {

// What the user says.
enum class Answer {
  yes,
  viewOnly,  // The screen, but no input.
  no,
  none,  // Nothing until decide().
};

struct Stream {
  std::uint32_t node = 0;
  std::optional<QPoint> position = std::nullopt;
  std::optional<QSize> size = std::nullopt;
  QString mapping = {};
};

// Implements ScreenCast, RemoteDesktop, Clipboard (as far as to offer a text) and Settings as portals do, the dialogs
// excepted. Serves from construction on; quit() and start() restart it. Thread: that of its creation.
class FakePortal final : public QDBusVirtualObject {
 public:
  explicit FakePortal(const QDBusConnection& bus);
  ~FakePortal() override;

  // The portal's program ends, without a word to its clients.
  void quit();
  void start();

  // Versions; 0: the interface is missing.
  uint screenCast = 4;
  uint remoteDesktop = 1;
  uint clipboard = 0;
  uint cursorModes = 7;
  uint deviceTypes = 7;
  Answer answer = Answer::yes;
  std::vector<Stream> streams = {{.node = 42, .position = QPoint(0, 0), .size = QSize(1000, 600)}};
  // Methods that get no reply, as those of a portal that hangs.
  QStringList silent;
  // While true, calls of input wait, as for a portal that is stopped; proceed() handles them.
  bool stopped = false;
  void proceed();
  std::size_t waitingCalls() const { return waiting_.size(); }
  // Methods that fail, with the message of the error.
  std::map<QString, QString> failing;
  // The token that a session with persist_mode gets; sessions restored with it ask nobody.
  QString token = QStringLiteral("token-1");
  // A call with this token fails.
  QString refusedToken;
  std::map<QString, QVariant> settings;

  // Makes a connection for input to the compositor; empty: ConnectToEIS fails.
  std::function<FileDescriptor()> connectToEis;

  // Answers the oldest open question.
  void decide(Answer decision);
  // The desktop ends the newest session.
  void closeSession();

  int questions = 0;       // How often the user was asked.
  int restored = 0;        // How often a token made a question unnecessary.
  int eisConnections = 0;  // Also those that failed.
  int remotesOpened = 0;
  QStringList closedSessions;  // By their client.
  int closedRequests = 0;
  // "Method(argument, ...)" of each Notify call, without session and options.
  QStringList notified;
  // The options of the last call of each method.
  std::map<QString, QVariantMap> options;

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override;

 private:
  struct Session {
    QString path;
    QString client;
    bool input = false;
    bool persists = false;
    bool restores = false;
  };
  struct Question {
    QString request;
    QString client;
    QString session;
  };

  void reply(const QDBusMessage& message, const QVariantList& arguments = {});
  void fail(const QDBusMessage& message, const QString& error);
  void getProperties(const QDBusMessage& message);
  void handleRequest(const QDBusMessage& message);
  void respond(const QString& request, const QString& client, uint code, const QVariantMap& results);
  void createSession(const QDBusMessage& message, const QString& request);
  void start(const QDBusMessage& message, const QString& request);
  QVariantMap granted(const Session& session, bool input) const;
  Session* find(const QString& path);

  QDBusConnection bus_;
  std::vector<Session> sessions_;
  std::vector<Question> open_;
  std::vector<QDBusMessage> waiting_;
  FileDescriptor remote_;
};

}  // namespace vantora::testportal
