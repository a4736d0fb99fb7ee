// The room server: viewer page and signalling rooms on one port.
#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTimer>
#include <QWebSocket>
#include <QWebSocketServer>
#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include "base/Scheduler.h"
#include "companion/server/HttpGate.h"
#include "companion/server/OriginPolicy.h"
#include "companion/server/RoomRegistry.h"
#include "companion/server/StaticFiles.h"
#include "companion/server/TokenBucket.h"

namespace vantora::companion {

// Limits of one server.
struct RoomServerLimits {
  RoomRegistry::Limits rooms;
  int connections = 1024;
  quint64 messageBytes = 1024 * 1024;
  // Unsent bytes that a slow receiver may accumulate before it is disconnected. Checked before each message to it, and
  // once per `backlogPeriod`: replies to its pings accumulate as well.
  qint64 backlogBytes = 8 * 1024 * 1024;
  std::chrono::milliseconds backlogPeriod{1'000};
  // A message costs one token, and one more for each `bytesPerToken`. A viewer's burst covers a whole negotiation with
  // all its candidates, several times over. A host replies to its viewers: what one of them makes it send, also over
  // its control channels, must not use up the host's own allowance.
  TokenBucket::Rate viewerRate{.burst = 300, .perSecond = 60};
  TokenBucket::Rate hostRate{.burst = 6000, .perSecond = 2000};
  double bytesPerToken = 16 * 1024;
  std::chrono::milliseconds requestTimeout{10'000};
  std::chrono::milliseconds joinTimeout{10'000};
  // A connection without a pong by the next ping is dead.
  std::chrono::milliseconds pingPeriod{10'000};
};

// Accepts connections, serves files to those that ask for them, and moves messages between the WebSockets as
// RoomRegistry decides. Main thread. Owned by main(), or by a test.
class RoomServer {
 public:
  RoomServer(const QString& viewerFolder, OriginPolicy policy, Scheduler& scheduler, RoomServerLimits limits = {});
  ~RoomServer();
  RoomServer(const RoomServer&) = delete;
  RoomServer& operator=(const RoomServer&) = delete;

  // False when the address or port is not available; errorText() gives the reason. Port 0 takes a free one.
  [[nodiscard]] bool listen(const QHostAddress& address, quint16 port);
  bool addressInUse() const;
  QString errorText() const;
  quint16 port() const { return tcp_.serverPort(); }
  // "http://127.0.0.1:8080", without a slash at the end.
  QString address() const;
  // WebSocket connections, joined or not.
  int connections() const { return static_cast<int>(connections_.size()); }

 private:
  struct Connection {
    std::unique_ptr<QWebSocket> socket;
    // A viewer's until it has joined as a host.
    TokenBucket allowance;
    bool asHost = false;
    std::unique_ptr<Timer> joinTimeout;
    bool awaitsPong = false;
    bool closing = false;
  };

  void acceptSockets();
  void acceptWebSockets();
  void received(MemberId id, const QString& text);
  void gone(MemberId id);
  void apply(const Effects& effects);
  void send(MemberId id, const QString& text);
  void close(MemberId id, int code, const QString& reason);
  void drop(MemberId id);
  void sweep();
  void pingAll();
  void dropOverfull();

  const RoomServerLimits limits_;
  const OriginPolicy policy_;
  Scheduler& scheduler_;
  StaticFiles files_;
  RoomRegistry registry_;
  MemberId lastId_ = 0;
  // Declared after what their callbacks use; sockets go before the servers they came from.
  QTcpServer tcp_;
  QWebSocketServer webSockets_;
  std::map<MemberId, std::unique_ptr<HttpGate>> gates_;
  std::map<MemberId, Connection> connections_;
  std::vector<MemberId> finishedGates_;
  std::vector<MemberId> dropped_;
  QTimer sweep_;
  std::unique_ptr<Timer> pingTimer_;
  std::unique_ptr<Timer> backlogTimer_;
};

}  // namespace vantora::companion
