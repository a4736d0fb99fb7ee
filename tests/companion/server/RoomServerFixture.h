// Real sockets on the loopback around a room server in this process.
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>
#include <functional>
#include <memory>

#include "base/QtScheduler.h"
#include "companion/server/RoomServer.h"
#include "tests/fakes/Timeout.h"

namespace vantora::companion {

using namespace Qt::Literals::StringLiterals;

inline QCoreApplication& application() {
  static int argc = 1;
  static char name[] = "room_server_test";
  static char* argv[] = {name, nullptr};
  static QCoreApplication instance(argc, argv);
  return instance;
}

// Runs the event loop until `done` holds; false when it does not within a test's timeout.
inline bool waitUntil(const std::function<bool()>& done) {
  testloop::Timeout timeout;
  QEventLoop loop;
  QTimer tick;
  QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
    if (done() || timeout.isOver()) loop.quit();
  });
  tick.start(1);
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
  // A viewer detects that it has joined: the server reports the members.
  bool joinedAsViewer(const QString& room = u"attic"_s) {
    if (!opened()) return false;
    join(u"viewer"_s, room);
    return hasReceived(u"peer_state"_s);
  }
  // A host gets no reply, so it sends a message that comes back.
  bool joinedAsHost(const QString& room = u"attic"_s) {
    if (!opened()) return false;
    join(u"host"_s, room);
    return echoed();
  }
  // Everything sent before has been handled once this comes back.
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
  void start(const RoomServerLimits& limits = {}, const QByteArrayList& allowedOrigins = {}) {
    server_ =
        std::make_unique<RoomServer>(folder_.path(), OriginPolicy(allowedOrigins, u"workshop"_s), scheduler_, limits);
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
  // A raw WebSocket, which the test controls frame by frame.
  std::unique_ptr<QTcpSocket> rawWebSocket() {
    auto socket = rawSocket();
    socket->write(
        "GET / HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n");
    EXPECT_TRUE(waitUntil([&] { return socket->peek(1000).contains("\r\n\r\n"); }));
    EXPECT_TRUE(socket->readAll().startsWith("HTTP/1.1 101 "));
    return socket;
  }
  // All that the server sends in response to `request` until it closes the connection.
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

}  // namespace vantora::companion
