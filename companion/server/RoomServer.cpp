#include "companion/server/RoomServer.h"

#include <QTcpSocket>
#include <utility>

namespace vantora::companion {

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kPolicyViolation = 1008;
// Of the range for private use: Qt's own client takes the newer registered codes (1012 and up) for
// protocol errors.
constexpr int kReplacedByNewerHost = 4001;
constexpr int kNoRoomLeft = 4002;

struct Goodbye {
  int code;
  QString reason;
};

Goodbye goodbyeFor(Dismissal why) {
  switch (why) {
    case Dismissal::replaced:
      return {kReplacedByNewerHost, u"replaced by a newer host of this room"_s};
    case Dismissal::badJoin:
      return {kPolicyViolation, u"the join needs a room and a role of host or viewer"_s};
    case Dismissal::roomFull:
      return {kNoRoomLeft, u"this room is full"_s};
    case Dismissal::tooManyRooms:
      return {kNoRoomLeft, u"no more rooms on this server"_s};
  }
  return {kPolicyViolation, QString()};
}

}  // namespace

RoomServer::RoomServer(const QString& viewerFolder, OriginPolicy policy, Scheduler& scheduler, RoomServerLimits limits)
    : limits_(limits),
      policy_(std::move(policy)),
      scheduler_(scheduler),
      files_(viewerFolder),
      registry_(limits.rooms),
      webSockets_(u"rooms"_s, QWebSocketServer::NonSecureMode) {
  QObject::connect(&tcp_, &QTcpServer::newConnection, &tcp_, [this] { acceptSockets(); });
  QObject::connect(&webSockets_, &QWebSocketServer::newConnection, &webSockets_, [this] { acceptWebSockets(); });
  sweep_.setSingleShot(true);
  QObject::connect(&sweep_, &QTimer::timeout, &sweep_, [this] { sweep(); });
  pingTimer_ = scheduler_.every(limits_.pingPeriod, limits_.pingPeriod, [this] { pingAll(); });
  backlogTimer_ = scheduler_.every(limits_.backlogPeriod, limits_.backlogPeriod, [this] { dropOverfull(); });
}

RoomServer::~RoomServer() {
  tcp_.close();
  for (auto& [id, connection] : connections_) {
    QObject::disconnect(connection.socket.get(), nullptr, connection.socket.get(), nullptr);
    connection.socket->close(QWebSocketProtocol::CloseCodeGoingAway);
  }
}

bool RoomServer::listen(const QHostAddress& address, quint16 port) { return tcp_.listen(address, port); }

bool RoomServer::addressInUse() const { return tcp_.serverError() == QAbstractSocket::AddressInUseError; }

QString RoomServer::errorText() const { return tcp_.errorString(); }

QString RoomServer::address() const {
  const QHostAddress host = tcp_.serverAddress();
  const QString name =
      host.protocol() == QAbstractSocket::IPv6Protocol ? u'[' + host.toString() + u']' : host.toString();
  return u"http://"_s + name + u':' + QString::number(tcp_.serverPort());
}

void RoomServer::acceptSockets() {
  while (QTcpSocket* next = tcp_.nextPendingConnection()) {
    std::unique_ptr<QTcpSocket> socket(next);
    socket->setParent(nullptr);
    if (static_cast<int>(gates_.size() + connections_.size()) >= limits_.connections) continue;
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    const MemberId id = ++lastId_;
    HttpGate::Callbacks callbacks;
    callbacks.onUpgrade = [this](QTcpSocket* upgraded) {
      upgraded->setParent(&webSockets_);
      webSockets_.handleConnection(upgraded);
    };
    // Deleted from the event loop: the gate is still executing when it calls this.
    callbacks.onDone = [this, id] {
      finishedGates_.push_back(id);
      sweep_.start(0);
    };
    gates_[id] = std::make_unique<HttpGate>(std::move(socket), files_, policy_, scheduler_, limits_.requestTimeout,
                                            std::move(callbacks));
  }
}

void RoomServer::acceptWebSockets() {
  while (QWebSocket* next = webSockets_.nextPendingConnection()) {
    const MemberId id = ++lastId_;
    next->setParent(nullptr);
    next->setMaxAllowedIncomingMessageSize(limits_.messageBytes);
    next->setMaxAllowedIncomingFrameSize(limits_.messageBytes);
    Connection connection{std::unique_ptr<QWebSocket>(next), TokenBucket(limits_.viewerRate, scheduler_.monotonicNow()),
                          false, nullptr};
    connection.joinTimeout = scheduler_.after(limits_.joinTimeout, [this, id] {
      if (!registry_.isMember(id)) close(id, kPolicyViolation, u"no join in time"_s);
    });
    connections_.emplace(id, std::move(connection));
    QObject::connect(next, &QWebSocket::textMessageReceived, next, [this, id](const QString& t) { received(id, t); });
    QObject::connect(next, &QWebSocket::pong, next, [this, id] {
      if (const auto found = connections_.find(id); found != connections_.end()) found->second.awaitsPong = false;
    });
    QObject::connect(next, &QWebSocket::disconnected, next, [this, id] { gone(id); });
  }
}

void RoomServer::received(MemberId id, const QString& text) {
  const auto found = connections_.find(id);
  if (found == connections_.end() || found->second.closing) return;
  const double cost = 1 + static_cast<double>(text.size()) / limits_.bytesPerToken;
  const std::chrono::nanoseconds now = scheduler_.monotonicNow();
  if (!found->second.allowance.take(cost, now)) {
    close(id, kPolicyViolation, u"too many messages"_s);
    return;
  }
  const Effects effects = registry_.receive(id, text, {now, scheduler_.unixMilliseconds()});
  if (!found->second.asHost && registry_.roleOf(id) == Role::host) {
    found->second.asHost = true;
    found->second.allowance = TokenBucket(limits_.hostRate, now);
  }
  apply(effects);
}

void RoomServer::gone(MemberId id) {
  const auto found = connections_.find(id);
  if (found == connections_.end()) return;
  // Called from a signal of this socket.
  found->second.socket.release()->deleteLater();
  connections_.erase(found);
  apply(registry_.leave(id));
}

void RoomServer::apply(const Effects& effects) {
  for (const auto& message : effects.messages) send(message.to, message.text);
  for (const auto& closing : effects.closings) {
    const Goodbye goodbye = goodbyeFor(closing.why);
    close(closing.member, goodbye.code, goodbye.reason);
  }
}

void RoomServer::send(MemberId id, const QString& text) {
  const auto found = connections_.find(id);
  if (found == connections_.end() || found->second.closing) return;
  if (found->second.socket->bytesToWrite() > limits_.backlogBytes) {
    drop(id);
    return;
  }
  found->second.socket->sendTextMessage(text);
}

void RoomServer::close(MemberId id, int code, const QString& reason) {
  const auto found = connections_.find(id);
  if (found == connections_.end() || found->second.closing) return;
  found->second.closing = true;
  apply(registry_.leave(id));
  // A socket whose close cannot be delivered is aborted at the next ping.
  if (const auto still = connections_.find(id); still != connections_.end()) {
    still->second.socket->close(static_cast<QWebSocketProtocol::CloseCode>(code), reason);
  }
}

// Done from the event loop: aborting a socket emits its signals, which change containers that the caller may be
// iterating over.
void RoomServer::drop(MemberId id) {
  const auto found = connections_.find(id);
  if (found == connections_.end()) return;
  found->second.closing = true;
  dropped_.push_back(id);
  sweep_.start(0);
}

void RoomServer::sweep() {
  for (const MemberId id : std::exchange(finishedGates_, {})) gates_.erase(id);
  for (const MemberId id : std::exchange(dropped_, {})) {
    const auto found = connections_.find(id);
    if (found != connections_.end()) found->second.socket->abort();
  }
}

void RoomServer::pingAll() {
  std::vector<MemberId> ids;
  for (const auto& [id, connection] : connections_) ids.push_back(id);
  for (const MemberId id : ids) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) continue;  // a failing ping may end its connection at once
    if (found->second.closing || found->second.awaitsPong) {
      drop(id);
    } else {
      found->second.awaitsPong = true;
      found->second.socket->ping();
    }
  }
}

void RoomServer::dropOverfull() {
  for (const auto& [id, connection] : connections_) {
    if (connection.socket->bytesToWrite() > limits_.backlogBytes) drop(id);
  }
}

}  // namespace vantora::companion
