// Rooms over real WebSockets.
#include "tests/companion/server/RoomServerFixture.h"

namespace vantora::companion {
namespace {

using namespace std::chrono_literals;

// A masked frame of a client; a mask of zeros leaves it readable.
QByteArray frame(char kind, const QByteArray& payload) {
  return QByteArray(1, static_cast<char>(0x80 | kind)) + static_cast<char>(0x80 | payload.size()) +
         QByteArray(4, '\0') + payload;
}

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

TEST_F(RoomServerTest, hostsAreNotNotifiedOfViewersComingAndGoing) {
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
  limits.viewerRate = {.burst = 100, .perSecond = 0.001};
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

// A host that offers whenever it is asked, as hosts do, with descriptions of the usual size.
TEST_F(RoomServerTest, aViewerThatKeepsAskingForOffersDoesNotGetTheHostThrownOut) {
  RoomServerLimits limits;
  limits.viewerRate = {.burst = 50'000, .perSecond = 0.001};
  limits.hostRate = {.burst = 100, .perSecond = 0.001};
  limits.rooms.requests = {.burst = 20, .perSecond = 1};
  start(limits);
  Client host(port());
  Client viewer(port());
  ASSERT_TRUE(host.joinedAsHost());
  ASSERT_TRUE(viewer.joinedAsViewer());
  int asked = 0;
  QObject::connect(&host.socket(), &QWebSocket::textMessageReceived, &host.socket(), [&](const QString& text) {
    if (!text.contains(u"renegotiate"_s)) return;
    ++asked;
    host.send(u"{\"type\":\"offer\",\"sdp\":\"%1\"}"_s.arg(QString(6000, u's')));
  });
  for (int i = 0; i < 1000; ++i) viewer.send(u"{\"type\":\"renegotiate\"}"_s);
  ASSERT_TRUE(viewer.echoed());
  ASSERT_TRUE(host.echoed());
  EXPECT_GE(asked, 20);
  EXPECT_LT(asked, 60);
  // Excess requests are dropped; a later one is accepted again.
  const int before = asked;
  ASSERT_TRUE(waitUntil([&] {
    viewer.send(u"{\"type\":\"renegotiate\"}"_s);
    return asked > before;
  }));
  EXPECT_TRUE(host.echoed());
}

TEST_F(RoomServerTest, hostsHaveAnAllowanceOfTheirOwn) {
  RoomServerLimits limits;
  limits.viewerRate = {.burst = 20, .perSecond = 0.001};
  limits.hostRate = {.burst = 200, .perSecond = 0.001};
  start(limits);
  Client host(port());
  Client viewer(port());
  ASSERT_TRUE(host.joinedAsHost());
  ASSERT_TRUE(viewer.joinedAsViewer());
  for (int i = 0; i < 150; ++i) host.send(u"{\"type\":\"offer\",\"n\":%1}"_s.arg(i));
  ASSERT_TRUE(viewer.hasReceived(u"\"n\":149}"_s));
  for (int i = 0; i < 100; ++i) host.send(u"{\"type\":\"offer\"}"_s);
  ASSERT_TRUE(host.closed());
  EXPECT_EQ(host.socket().closeReason(), u"too many messages"_s);
}

TEST_F(RoomServerTest, largeMessagesUseUpTheAllowanceFaster) {
  RoomServerLimits limits;
  limits.hostRate = {.burst = 10, .perSecond = 0.001};
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
  limits.joinTimeout = 1s;
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
  limits.pingPeriod = 1s;
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
  limits.hostRate.burst = 1e6;
  limits.pingPeriod = 1h;
  start(limits);
  Client host(port());
  ASSERT_TRUE(host.joinedAsHost());
  auto stuck = rawWebSocket();
  stuck->write(frame(0x1, "{\"type\":\"join\",\"room\":\"attic\",\"role\":\"viewer\"}"));
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

TEST_F(RoomServerTest, aMemberThatPingsWithoutReadingIsCutOff) {
  RoomServerLimits limits;
  limits.backlogBytes = 64 * 1024;
  limits.backlogPeriod = 20ms;
  limits.pingPeriod = 1h;
  start(limits);
  Client living(port());
  ASSERT_TRUE(living.joinedAsHost());
  auto stuck = rawWebSocket();
  stuck->write(frame(0x1, "{\"type\":\"join\",\"room\":\"attic\",\"role\":\"viewer\"}"));
  ASSERT_TRUE(waitUntil([&] { return stuck->peek(1000).contains("peer_state"); }));
  stuck->setReadBufferSize(1);
  stuck->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 4096);
  // So few at once that their replies alone are no reason.
  const QByteArray pings = frame(0x9, QByteArray(125, 'p')).repeated(200);
  qint64 sent = 0;
  EXPECT_TRUE(waitUntil([&] {
    if (stuck->state() == QAbstractSocket::ConnectedState && stuck->bytesToWrite() == 0) sent += stuck->write(pings);
    return server_->connections() == 1;
  }));
  // What the kernel's own buffers take on a loopback connection, and the little that the server buffers.
  EXPECT_LT(sent, 64 * 1024 * 1024);
  EXPECT_TRUE(living.echoed());
}

TEST_F(RoomServerTest, aMemberThatPingsAndReadsStays) {
  RoomServerLimits limits;
  limits.backlogBytes = 64 * 1024;
  limits.backlogPeriod = 1ms;
  limits.pingPeriod = 1h;
  start(limits);
  Client viewer(port());
  ASSERT_TRUE(viewer.joinedAsViewer());
  int answered = 0;
  QObject::connect(&viewer.socket(), &QWebSocket::pong, &viewer.socket(), [&] { ++answered; });
  // Ten times the limit in all, a tenth of it at once.
  for (int round = 1; round <= 100; ++round) {
    for (int i = 0; i < 50; ++i) viewer.socket().ping(QByteArray(125, 'p'));
    ASSERT_TRUE(waitUntil([&] { return answered == round * 50; }));
  }
  EXPECT_TRUE(viewer.echoed());
  EXPECT_EQ(server_->connections(), 1);
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
