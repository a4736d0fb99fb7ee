// The page, served on the port of the rooms.
#include "tests/companion/server/RoomServerFixture.h"

namespace vantora::companion {
namespace {

using namespace std::chrono_literals;

TEST_F(RoomServerTest, servesThePageOnTheSamePort) {
  start();
  const QByteArray response = exchange("GET /?room=attic HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_TRUE(response.startsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(response.endsWith("<title>Viewer</title>"));
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
  QByteArray response;
  QObject::connect(socket.get(), &QTcpSocket::readyRead, socket.get(), [&] { response += socket->readAll(); });
  for (const char c : QByteArrayView("GET / HTTP/1.1\r\nHost: x\r\n\r\n")) {
    socket->write(&c, 1);
    socket->flush();
    QCoreApplication::processEvents();
  }
  ASSERT_TRUE(waitUntil([&] { return socket->state() == QAbstractSocket::UnconnectedState; }));
  EXPECT_TRUE(response.startsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(RoomServerTest, answersBrokenRequestsAndEndlessHeads) {
  start();
  EXPECT_TRUE(exchange("\x16\x03\x01 nonsense\r\n\r\n").startsWith("HTTP/1.1 400 "));
  EXPECT_TRUE(exchange("POST / HTTP/1.1\r\n\r\n").startsWith("HTTP/1.1 405 "));
  EXPECT_TRUE(exchange("GET / HTTP/1.1\r\nX: " + QByteArray(kMaxRequestHead, 'x')).startsWith("HTTP/1.1 431 "));
}

TEST_F(RoomServerTest, aClientThatSaysNothingIsDropped) {
  RoomServerLimits limits;
  limits.requestTimeout = 50ms;
  start(limits);
  EXPECT_EQ(exchange("GET / HT"), QByteArray());
}

// Asks for a WebSocket for a page of `origin`, at the address `host`.
QByteArray upgradeRequest(const QByteArray& host, const QByteArray& origin) {
  return "GET / HTTP/1.1\r\nHost: " + host + "\r\nOrigin: " + origin +
         "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
}

TEST_F(RoomServerTest, roomsAreClosedToPagesFromElsewhere) {
  start();
  const QByteArray own = "127.0.0.1:" + QByteArray::number(port());
  for (const QByteArray origin : {"http://evil.example", "http://127.0.0.1:1", "null", ""}) {
    const QByteArray response = exchange(upgradeRequest(own, origin));
    EXPECT_TRUE(response.startsWith("HTTP/1.1 403 Forbidden\r\n")) << origin.constData();
    EXPECT_TRUE(response.contains("--allow-origin")) << origin.constData();
  }
  EXPECT_EQ(server_->connections(), 0);
}

TEST_F(RoomServerTest, roomsAreOpenToItsOwnPageAndToAllowedOnes) {
  start({}, {"https://pages.example"});
  const QByteArray own = "127.0.0.1:" + QByteArray::number(port());
  for (const QByteArray& origin : {"http://" + own, QByteArray("https://pages.example")}) {
    auto socket = rawSocket();
    socket->write(upgradeRequest(own, origin));
    ASSERT_TRUE(waitUntil([&] { return socket->peek(1000).contains("\r\n\r\n"); }));
    EXPECT_TRUE(socket->readAll().startsWith("HTTP/1.1 101 ")) << origin.constData();
  }
}

TEST_F(RoomServerTest, saysWhenThePortIsTaken) {
  start();
  RoomServer second(folder_.path(), OriginPolicy({}, {}), scheduler_);
  EXPECT_FALSE(second.listen(QHostAddress(QHostAddress::LocalHost), port()));
  EXPECT_TRUE(second.addressInUse());
  EXPECT_FALSE(second.errorText().isEmpty());
  EXPECT_EQ(server_->address(), u"http://127.0.0.1:%1"_s.arg(port()));
}

}  // namespace
}  // namespace vantora::companion
