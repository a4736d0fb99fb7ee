// The room server with real sockets on the loopback.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include "companion/server/RoomServer.h"
#include "main/base/QtScheduler.h"

namespace vantora::companion {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

QCoreApplication& application() {
  static int argc = 1;
  static char name[] = "room_server_test";
  static char* argv[] = {name, nullptr};
  static QCoreApplication instance(argc, argv);
  return instance;
}

// Runs the event loop until `done` holds; false after ten seconds.
bool waitUntil(const std::function<bool()>& done) {
  QElapsedTimer clock;
  clock.start();
  QEventLoop loop;
  QTimer tick;
  QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
    if (done() || clock.elapsed() > 10'000) loop.quit();
  });
  tick.start(1ms);
  loop.exec();
  return done();
}

class Client {
 public:
  explicit Client(quint16 port) {
    QObject::connect(&socket_, &QWebSocket::textMessageReceived, &socket_,
                     [this](const QString& t) { texts.append(t); });
    socket_.open(QUrl(u"ws://127.0.0.1:%1/"_s.arg(port)));
  }
  bool opened() {
    return waitUntil([this] { return socket_.state() == QAbstractSocket::ConnectedState; });
  }
  bool closed() {
    return waitUntil([this] { return socket_.state() == QAbstractSocket::UnconnectedState; });
  }
  bool hasReceived(const QString& part) {
    return waitUntil([&] { return !texts.filter(part).isEmpty(); });
  }
  void send(const QString& text) { socket_.sendTextMessage(text); }
  void join(const QString& role, const QString& room = u"attic"_s) {
    send(u"{\"type\":\"join\",\"room\":\"%1\",\"role\":\"%2\"}"_s.arg(room, role));
  }
  // A viewer knows that it is in: the server tells it who is there.
  bool joinedAsViewer(const QString& room = u"attic"_s) {
    if (!opened()) return false;
    join(u"viewer"_s, room);
    return hasReceived(u"peer_state"_s);
  }
  // A host hears nothing, so it says something that comes back.
  bool joinedAsHost(const QString& room = u"attic"_s) {
    if (!opened()) return false;
    join(u"host"_s, room);
    return echoed();
  }
  // Everything sent before has been dealt with once this comes back.
  bool echoed() {
    const QString mark = u"mark-%1"_s.arg(++marks_);
    send(u"{\"type\":\"chat_send\",\"text\":\"%1\"}"_s.arg(mark));
    return hasReceived(mark);
  }
  QWebSocket& socket() { return socket_; }

  QStringList texts;

 private:
  QWebSocket socket_;
  int marks_ = 0;
};

class RoomServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    application();
    QFile page(folder_.filePath(u"index.html"_s));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write("<!doctype html><title>Viewer</title>");
  }
  void start(const RoomServerLimits& limits = {}) {
    server_ = std::make_unique<RoomServer>(folder_.path(), scheduler_, limits);
    ASSERT_TRUE(server_->listen(QHostAddress(QHostAddress::LocalHost), 0));
  }
  quint16 port() const { return server_->port(); }
  std::unique_ptr<QTcpSocket> rawSocket() {
    auto socket = std::make_unique<QTcpSocket>();
    bool connected = false;
    QObject::connect(socket.get(), &QTcpSocket::connected, [&connected] { connected = true; });
    socket->connectToHost(QHostAddress(QHostAddress::LocalHost), port());
    EXPECT_TRUE(waitUntil([&] { return connected; }));
    QObject::disconnect(socket.get(), &QTcpSocket::connected, nullptr, nullptr);
    return socket;
  }
  // A WebSocket whose far end is in the test's hands, frame by frame.
  std::unique_ptr<QTcpSocket> rawWebSocket() {
    auto socket = rawSocket();
    socket->write(
        "GET / HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n");
    EXPECT_TRUE(waitUntil([&] { return socket->peek(1000).contains("\r\n\r\n"); }));
    EXPECT_TRUE(socket->readAll().startsWith("HTTP/1.1 101 "));
    return socket;
  }
  // All that the server answers to `request` until it closes the connection.
  QByteArray exchange(const QByteArray& request) {
    auto socket = rawSocket();
    QByteArray answer;
    QObject::connect(socket.get(), &QTcpSocket::readyRead, socket.get(), [&] { answer += socket->readAll(); });
    socket->write(request);
    EXPECT_TRUE(waitUntil([&] { return socket->state() == QAbstractSocket::UnconnectedState; }));
    return answer + socket->readAll();
  }

  QTemporaryDir folder_;
  QtScheduler scheduler_;
  std::unique_ptr<RoomServer> server_;
};

TEST_F(RoomServerTest, carriesANegotiationBothWays) {
  start();
  Client host(port());
  Client viewer(port());
  ASSERT_TRUE(host.joinedAsHost());
  ASSERT_TRUE(viewer.joinedAsViewer());
  const QString offer = u"{\"type\":\"offer\", \"sdp\":\"v=0\\r\\ns=\u00e9\\r\\n\"}"_s;
  host.send(offer);
  ASSERT_TRUE(viewer.hasReceived(u"offer"_s));
  EXPECT_EQ(viewer.texts.last(), offer);
  const QString answer = u"{\"sdp\":\"v=0\", \"type\":\"answer\"}"_s;
  viewer.send(answer);
  ASSERT_TRUE(host.hasReceived(u"answer"_s));
  EXPECT_EQ(host.texts.last(), answer);
}

TEST_F(RoomServerTest, hostsHearNothingOfViewersComingAndGoing) {
  start();
  Client host(port());
  ASSERT_TRUE(host.joinedAsHost());
  {
    Client viewer(port());
    ASSERT_TRUE(viewer.joinedAsViewer());
    ASSERT_TRUE(viewer.echoed());
  }
  ASSERT_TRUE(waitUntil([this] { return server_->connections() == 1; }));
  ASSERT_TRUE(host.echoed());
  for (const QString& text : host.texts) EXPECT_TRUE(text.contains(u"chat_broadcast"_s)) << qPrintable(text);
}

TEST_F(RoomServerTest, viewersLearnOfAHostThatVanishes) {
  start();
  auto host = std::make_unique<Client>(port());
  Client viewer(port());
  ASSERT_TRUE(host->joinedAsHost());
  ASSERT_TRUE(viewer.joinedAsViewer());
  viewer.texts.clear();
  host->socket().abort();
  ASSERT_TRUE(viewer.hasReceived(u"peer_state"_s));
  EXPECT_TRUE(viewer.texts.last().contains(u"\"host\":false"_s));
}

TEST_F(RoomServerTest, aReplacedHostIsClosedWithAReason) {
  start();
  Client older(port());
  Client newer(port());
  ASSERT_TRUE(older.joinedAsHost());
  ASSERT_TRUE(newer.joinedAsHost());
  ASSERT_TRUE(older.closed());
  EXPECT_EQ(static_cast<int>(older.socket().closeCode()), 4001);
  EXPECT_EQ(older.socket().closeReason(), u"replaced by a newer host of this room"_s);
  EXPECT_TRUE(newer.echoed());
}

TEST_F(RoomServerTest, anOlderViewerIsSupersededAndNoLongerRelayed) {
  start();
  Client host(port());
  Client older(port());
  Client newer(port());
  ASSERT_TRUE(host.joinedAsHost());
  ASSERT_TRUE(older.joinedAsViewer());
  ASSERT_TRUE(newer.joinedAsViewer());
  ASSERT_TRUE(older.hasReceived(u"superseded"_s));
  older.send(u"{\"type\":\"answer\",\"sdp\":\"of the older\"}"_s);
  ASSERT_TRUE(older.echoed());
  newer.send(u"{\"type\":\"answer\",\"sdp\":\"of the newer\"}"_s);
  ASSERT_TRUE(host.hasReceived(u"of the newer"_s));
  EXPECT_TRUE(host.texts.filter(u"of the older"_s).isEmpty());
}

TEST_F(RoomServerTest, aMessageOverTheLimitEndsItsSenderOnly) {
  RoomServerLimits limits;
  limits.messageBytes = 1000;
  start(limits);
  Client host(port());
  Client viewer(port());
  ASSERT_TRUE(host.joinedAsHost());
  ASSERT_TRUE(viewer.joinedAsViewer());
  const QString frame = u"{\"type\":\"answer\",\"sdp\":\"%1\"}"_s;
  const QString fits = frame.arg(QString(1000 - frame.size() + 2, u's'));
  ASSERT_EQ(fits.size(), 1000);
  viewer.send(fits);
  ASSERT_TRUE(host.hasReceived(u"answer"_s));
  viewer.send(frame.arg(QString(1000, u't')));
  ASSERT_TRUE(viewer.closed());
  EXPECT_EQ(viewer.socket().closeCode(), QWebSocketProtocol::CloseCodeTooMuchData);
  ASSERT_TRUE(host.echoed());
  EXPECT_TRUE(host.texts.filter(u"tttt"_s).isEmpty());
}

TEST_F(RoomServerTest, garbageAndBinaryAreDropped) {
  start();
  Client host(port());
  Client viewer(port());
  ASSERT_TRUE(host.joinedAsHost());
  ASSERT_TRUE(viewer.opened());
  viewer.send(u"not json"_s);
  viewer.socket().sendBinaryMessage("{\"type\":\"join\",\"room\":\"attic\",\"role\":\"host\"}");
  ASSERT_TRUE(viewer.joinedAsViewer());
  viewer.send(u"{\"type\":"_s);
  viewer.send(u"[[[[[["_s);
  viewer.socket().sendBinaryMessage("{\"type\":\"renegotiate\"}");
  ASSERT_TRUE(viewer.echoed());
  EXPECT_TRUE(host.texts.filter(u"renegotiate"_s).isEmpty());
}

TEST_F(RoomServerTest, aFloodEndsItsSenderAndABurstDoesNot) {
  RoomServerLimits limits;
  limits.burst = 100;
  limits.perSecond = 0.001;
  start(limits);
  Client host(port());
  Client viewer(port());
  ASSERT_TRUE(host.joinedAsHost());
  ASSERT_TRUE(viewer.joinedAsViewer());
  for (int i = 0; i < 90; ++i) viewer.send(u"{\"type\":\"ice\",\"candidate\":{\"n\":%1}}"_s.arg(i));
  ASSERT_TRUE(host.hasReceived(u"\"n\":89}"_s));
  for (int i = 0; i < 20; ++i) viewer.send(u"{\"type\":\"ice\"}"_s);
  ASSERT_TRUE(viewer.closed());
  EXPECT_EQ(static_cast<int>(viewer.socket().closeCode()), 1008);
  EXPECT_EQ(viewer.socket().closeReason(), u"too many messages"_s);
  EXPECT_TRUE(host.echoed());
}

TEST_F(RoomServerTest, largeMessagesUseUpTheAllowanceFaster) {
  RoomServerLimits limits;
  limits.burst = 10;
  limits.perSecond = 0.001;
  limits.bytesPerToken = 1000;
  start(limits);
  Client host(port());
  ASSERT_TRUE(host.joinedAsHost());
  host.send(u"{\"type\":\"offer\",\"sdp\":\"%1\"}"_s.arg(QString(9000, u's')));
  ASSERT_TRUE(host.closed());
  EXPECT_EQ(host.socket().closeReason(), u"too many messages"_s);
}

TEST_F(RoomServerTest, aConnectionThatNeverJoinsIsClosed) {
  RoomServerLimits limits;
  limits.joinPatience = 50ms;
  start(limits);
  Client member(port());
  ASSERT_TRUE(member.joinedAsViewer());
  Client idle(port());
  ASSERT_TRUE(idle.opened());
  idle.send(u"{\"type\":\"renegotiate\"}"_s);
  ASSERT_TRUE(idle.closed());
  EXPECT_EQ(idle.socket().closeReason(), u"no join in time"_s);
  EXPECT_TRUE(member.echoed());
}

TEST_F(RoomServerTest, anUnusableJoinIsClosedWithAReason) {
  start();
  Client guest(port());
  ASSERT_TRUE(guest.opened());
  guest.join(u"guest"_s);
  ASSERT_TRUE(guest.closed());
  EXPECT_EQ(static_cast<int>(guest.socket().closeCode()), 1008);
  EXPECT_TRUE(guest.socket().closeReason().contains(u"role"_s));
}

TEST_F(RoomServerTest, aFullRoomTurnsAwayWithAReason) {
  RoomServerLimits limits;
  limits.rooms.viewersPerRoom = 1;
  start(limits);
  Client first(port());
  ASSERT_TRUE(first.joinedAsViewer());
  Client second(port());
  ASSERT_TRUE(second.opened());
  second.join(u"viewer"_s);
  ASSERT_TRUE(second.closed());
  EXPECT_EQ(second.socket().closeReason(), u"this room is full"_s);
}

TEST_F(RoomServerTest, aConnectionThatAnswersNoPingIsDropped) {
  RoomServerLimits limits;
  limits.pingPeriod = 40ms;
  start(limits);
  Client living(port());
  ASSERT_TRUE(living.joinedAsViewer());
  auto dead = rawWebSocket();
  ASSERT_TRUE(waitUntil([this] { return server_->connections() == 2; }));
  ASSERT_TRUE(waitUntil([&] { return dead->state() == QAbstractSocket::UnconnectedState; }));
  EXPECT_TRUE(waitUntil([this] { return server_->connections() == 1; }));
  EXPECT_TRUE(living.echoed());
}

TEST_F(RoomServerTest, aReceiverThatDoesNotReadIsCutOff) {
  RoomServerLimits limits;
  limits.backlogBytes = 64 * 1024;
  limits.burst = 1e6;
  limits.pingPeriod = 1h;
  start(limits);
  Client host(port());
  ASSERT_TRUE(host.joinedAsHost());
  auto stuck = rawWebSocket();
  // A masked text frame; a mask of zeros leaves it readable.
  const QByteArray join = "{\"type\":\"join\",\"room\":\"attic\",\"role\":\"viewer\"}";
  stuck->write(QByteArray("\x81") + static_cast<char>(0x80 | join.size()) + QByteArray(4, '\0') + join);
  ASSERT_TRUE(waitUntil([&] { return stuck->peek(1000).contains("peer_state"); }));
  stuck->setReadBufferSize(1);
  const QString offer = u"{\"type\":\"offer\",\"sdp\":\"%1\"}"_s.arg(QString(500'000, u's'));
  // More than the kernel's own buffers take on a loopback connection.
  for (int i = 0; i < 100 && server_->connections() == 2; ++i) {
    host.send(offer);
    ASSERT_TRUE(host.echoed());
  }
  EXPECT_TRUE(waitUntil([this] { return server_->connections() == 1; }));
}

TEST_F(RoomServerTest, servesThePageOnTheSamePort) {
  start();
  const QByteArray answer = exchange("GET /?room=attic HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_TRUE(answer.startsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(answer.endsWith("<title>Viewer</title>"));
  EXPECT_TRUE(exchange("HEAD / HTTP/1.0\r\n\r\n").endsWith("\r\n\r\n"));
}

TEST_F(RoomServerTest, servesNothingOutsideThePagesFolder) {
  start();
  for (const char* target : {"/../index.html", "/%2e%2e/%2e%2e/etc/passwd", "/../../../../../../etc/passwd"}) {
    EXPECT_TRUE(exchange(QByteArray("GET ") + target + " HTTP/1.1\r\n\r\n").startsWith("HTTP/1.1 404 ")) << target;
  }
}

TEST_F(RoomServerTest, answersARequestThatArrivesInPieces) {
  start();
  auto socket = rawSocket();
  QByteArray answer;
  QObject::connect(socket.get(), &QTcpSocket::readyRead, socket.get(), [&] { answer += socket->readAll(); });
  for (const char c : QByteArrayView("GET / HTTP/1.1\r\nHost: x\r\n\r\n")) {
    socket->write(&c, 1);
    socket->flush();
    QCoreApplication::processEvents();
  }
  ASSERT_TRUE(waitUntil([&] { return socket->state() == QAbstractSocket::UnconnectedState; }));
  EXPECT_TRUE(answer.startsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(RoomServerTest, answersBrokenRequestsAndEndlessHeads) {
  start();
  EXPECT_TRUE(exchange("\x16\x03\x01 nonsense\r\n\r\n").startsWith("HTTP/1.1 400 "));
  EXPECT_TRUE(exchange("POST / HTTP/1.1\r\n\r\n").startsWith("HTTP/1.1 405 "));
  EXPECT_TRUE(exchange("GET / HTTP/1.1\r\nX: " + QByteArray(kMaxRequestHead, 'x')).startsWith("HTTP/1.1 431 "));
}

TEST_F(RoomServerTest, aClientThatSaysNothingIsDropped) {
  RoomServerLimits limits;
  limits.requestPatience = 50ms;
  start(limits);
  EXPECT_EQ(exchange("GET / HT"), QByteArray());
}

TEST_F(RoomServerTest, connectionsBeyondTheLimitAreTurnedAway) {
  RoomServerLimits limits;
  limits.connections = 1;
  start(limits);
  Client member(port());
  ASSERT_TRUE(member.joinedAsViewer());
  ASSERT_TRUE(member.echoed());
  EXPECT_EQ(exchange("GET / HTTP/1.1\r\n\r\n"), QByteArray());
  EXPECT_TRUE(member.echoed());
}

TEST_F(RoomServerTest, saysWhenThePortIsTaken) {
  start();
  RoomServer second(folder_.path(), scheduler_);
  EXPECT_FALSE(second.listen(QHostAddress(QHostAddress::LocalHost), port()));
  EXPECT_TRUE(second.addressInUse());
  EXPECT_FALSE(second.errorText().isEmpty());
  EXPECT_EQ(server_->address(), u"http://127.0.0.1:%1"_s.arg(port()));
}

TEST_F(RoomServerTest, closesItsConnectionsWhenItEnds) {
  start();
  Client viewer(port());
  ASSERT_TRUE(viewer.joinedAsViewer());
  server_.reset();
  EXPECT_TRUE(viewer.closed());
  EXPECT_EQ(viewer.socket().closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
}

}  // namespace
}  // namespace vantora::companion
