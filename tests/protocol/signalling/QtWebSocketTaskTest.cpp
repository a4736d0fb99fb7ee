// One connection attempt against servers that misbehave.
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QTcpServer>
#include <QTcpSocket>

#include "main/signalling/QtWebSocketTask.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/protocol/signalling/TestServer.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testing_loop::TestServer;
using testing_loop::waitFor;

class QtWebSocket : public testing::Test {
 protected:
  QtWebSocket() { testing_loop::ensureApplication(); }
  ~QtWebSocket() override {
    task_.reset();
    testing_loop::drain();
  }

  void open(const QUrl& url) {
    task_ =
        std::make_unique<QtWebSocketTask>(url,
                                          WebSocketTask::Events{
                                              .text = [this](const QString& text) { texts_.append(text); },
                                              .binary = [this](const QByteArray& bytes) { binaries_.append(bytes); },
                                              .receiveError = [this](const QString& r) { receiveErrors_.append(r); },
                                              .sendError = [this](const QString& r) { sendErrors_.append(r); },
                                          },
                                          scheduler_, limits_);
    task_->resume();
  }
  bool failed() const { return !receiveErrors_.isEmpty(); }

  fakes::FakeScheduler scheduler_;
  QtWebSocketTask::Limits limits_;
  std::unique_ptr<QtWebSocketTask> task_;
  QStringList texts_;
  QList<QByteArray> binaries_;
  QStringList receiveErrors_;
  QStringList sendErrors_;
};

// Accepts connections and says only what the test tells it to.
class RawServer {
 public:
  RawServer() {
    EXPECT_TRUE(server_.listen(QHostAddress::LocalHost));
    QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] {
      socket_ = server_.nextPendingConnection();
      QObject::connect(socket_, &QTcpSocket::readyRead, socket_, [this] { request_ += socket_->readAll(); });
      QObject::connect(socket_, &QTcpSocket::disconnected, socket_, [this] { closed_ = true; });
    });
  }
  QUrl url() const { return QUrl(u"ws://127.0.0.1:%1"_s.arg(server_.serverPort())); }
  bool asked() const { return request_.contains("\r\n\r\n"); }
  bool closed() const { return closed_; }
  QTcpSocket* socket() { return socket_; }
  const QByteArray& request() const { return request_; }

 private:
  QTcpServer server_;
  QTcpSocket* socket_ = nullptr;
  QByteArray request_;
  bool closed_ = false;
};

TEST_F(QtWebSocket, givesUpOnAServerThatNeverAnswers) {
  RawServer server;
  open(server.url());
  task_->send(u"hello"_s);
  ASSERT_TRUE(waitFor([&] { return server.asked(); }));
  scheduler_.advance(limits_.handshake - 1ms);
  testing_loop::drain();
  EXPECT_FALSE(failed());
  scheduler_.advance(1ms);
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_EQ(receiveErrors_, QStringList{u"The server does not answer."_s});
  EXPECT_EQ(sendErrors_, QStringList{u"The server does not answer."_s});
  EXPECT_TRUE(waitFor([&] { return server.closed(); }));
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(QtWebSocket, asksForNothingButTheUpgrade) {
  RawServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.asked(); }));
  EXPECT_TRUE(server.request().startsWith("GET / HTTP/1.1\r\n"));
  EXPECT_FALSE(server.request().toLower().contains("proxy"));
}

TEST_F(QtWebSocket, refusesAServerThatSpeaksSomethingElse) {
  for (const char* answer : {"HTTP/1.1 404 Not Found\r\n\r\n", "220 mail ready\r\n\r\n",
                             "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                             "Sec-WebSocket-Accept: wrong\r\n\r\n"}) {
    receiveErrors_.clear();
    RawServer server;
    open(server.url());
    ASSERT_TRUE(waitFor([&] { return server.asked(); })) << answer;
    server.socket()->write(answer);
    EXPECT_TRUE(waitFor([&] { return failed(); })) << answer;
    EXPECT_EQ(receiveErrors_.size(), 1);
    EXPECT_FALSE(receiveErrors_[0].contains(u'\n'));
  }
}

TEST_F(QtWebSocket, takesInOnlySoMuchOfAnEndlessHandshake) {
  limits_.incomingBytes = 64 * 1024;
  RawServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.asked(); }));
  constexpr qint64 kFlood = 64 * 1024 * 1024;
  server.socket()->write("HTTP/1.1 101 ");
  server.socket()->write(QByteArray(kFlood, 'a'));
  // What is not read stays with the server, beside some that the system holds in between.
  QTcpSocket* socket = server.socket();
  qint64 left = kFlood;
  int quietRounds = 0;
  const bool settled = waitFor([&] {
    if (failed() || server.closed()) return true;
    quietRounds = socket->bytesToWrite() == left ? quietRounds + 1 : 0;
    left = socket->bytesToWrite();
    return quietRounds > 50;
  });
  EXPECT_TRUE(settled);
  EXPECT_TRUE(failed() || left > kFlood / 2) << left;
  scheduler_.advance(limits_.handshake);
  EXPECT_TRUE(waitFor([&] { return failed(); }));
}

TEST_F(QtWebSocket, breaksOnAMessageThatIsTooLong) {
  limits_.incomingBytes = 100'000;
  TestServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  server.client()->sendTextMessage(QString(100'000, u'a'));
  ASSERT_TRUE(waitFor([&] { return !texts_.isEmpty(); }));
  EXPECT_EQ(texts_[0].size(), 100'000);
  server.client()->sendTextMessage(QString(100'001, u'a'));
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_EQ(texts_.size(), 1);
}

TEST_F(QtWebSocket, breaksOnAMessageThatIsTooLongInManyFrames) {
  limits_.incomingBytes = 100'000;
  TestServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  server.client()->setOutgoingFrameSize(1000);
  server.client()->sendTextMessage(QString(100'001, u'a'));
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_TRUE(texts_.isEmpty());
}

TEST_F(QtWebSocket, takesAMessageOfTheFullLength) {
  TestServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  server.client()->setOutgoingFrameSize(static_cast<quint64>(limits_.incomingBytes));
  server.client()->sendTextMessage(QString(limits_.incomingBytes, u'a'));
  ASSERT_TRUE(waitFor([&] { return failed() || !texts_.isEmpty(); }));
  EXPECT_FALSE(failed());
  EXPECT_EQ(texts_[0].size(), limits_.incomingBytes);
}

TEST_F(QtWebSocket, givesUpOnAServerThatHasGoneSilent) {
  RawServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.asked(); }));
  // A correct answer to the upgrade, and nothing after it.
  const QByteArray head = "Sec-WebSocket-Key: ";
  const qsizetype at = server.request().indexOf(head) + head.size();
  const QByteArray key = server.request().mid(at, server.request().indexOf("\r\n", at) - at);
  const QByteArray accept =
      QCryptographicHash::hash(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11", QCryptographicHash::Sha1).toBase64();
  server.socket()->write(
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Accept: " +
      accept + "\r\n\r\n");
  server.socket()->write(QByteArray("\x81\x02hi", 4));
  ASSERT_TRUE(waitFor([&] { return texts_ == QStringList{u"hi"_s}; }));
  scheduler_.advance(limits_.pingPeriod);
  testing_loop::drain();
  EXPECT_FALSE(failed());
  scheduler_.advance(limits_.pingPeriod);
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_EQ(receiveErrors_, QStringList{u"The server does not answer."_s});
}

TEST_F(QtWebSocket, staysWithAServerThatAnswersPings) {
  TestServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  task_->send(u"opened"_s);
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 1; }));
  for (int pings = 1; pings <= 5; ++pings) {
    scheduler_.advance(limits_.pingPeriod);
    // The text travels behind the ping, and what comes back for it behind the pong.
    task_->send(u"n"_s);
    ASSERT_TRUE(waitFor([&] { return server.texts().size() == 1 + pings; }));
    server.client()->sendBinaryMessage("echo");
    ASSERT_TRUE(waitFor([&] { return binaries_.size() == pings; }));
  }
  EXPECT_FALSE(failed());
}

TEST_F(QtWebSocket, limitsWhatWaitsForTheConnection) {
  limits_.waitingMessages = 3;
  RawServer server;
  open(server.url());
  for (int i = 0; i < 5; ++i) task_->send(u"x"_s);
  EXPECT_EQ(sendErrors_, QStringList(2, u"Too much is waiting for the connection to open."_s));

  limits_ = {};
  limits_.waitingBytes = 1000;
  sendErrors_.clear();
  open(server.url());
  task_->send(QString(400, u'x'));
  task_->send(QString(400, u'x'));
  EXPECT_EQ(sendErrors_, QStringList{u"Too much is waiting for the connection to open."_s});
}

TEST_F(QtWebSocket, limitsWhatWaitsForTheNetwork) {
  limits_.waitingBytes = 1000;
  TestServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  task_->send(u"opened"_s);
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 1; }));
  task_->send(QString(1001, u'x'));
  EXPECT_EQ(sendErrors_, QStringList{u"Too much is waiting for the network."_s});
  task_->send(u"still works"_s);
  EXPECT_TRUE(waitFor([&] { return server.texts().size() == 2; }));
}

TEST_F(QtWebSocket, reportsEveryMessageThatNeverWentOut) {
  quint16 port = 0;
  {
    const TestServer gone;
    port = gone.port();
  }
  open(QUrl(u"ws://127.0.0.1:%1"_s.arg(port)));
  for (int i = 0; i < 3; ++i) task_->send(u"x"_s);
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_EQ(sendErrors_.size(), 3);
  task_->send(u"x"_s);
  EXPECT_EQ(sendErrors_.size(), 4);
  EXPECT_EQ(receiveErrors_.size(), 1);
}

TEST_F(QtWebSocket, failsOutsideOfResume) {
  open(QUrl(u"http://127.0.0.1:1"_s));
  EXPECT_FALSE(failed());
  EXPECT_TRUE(waitFor([&] { return failed(); }));
}

TEST_F(QtWebSocket, saysWhyItWasRefused) {
  quint16 port = 0;
  {
    const TestServer gone;
    port = gone.port();
  }
  open(QUrl(u"ws://127.0.0.1:%1"_s.arg(port)));
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_EQ(receiveErrors_, QStringList{u"Connection refused"_s});
}

TEST_F(QtWebSocket, mayFailAndGoAwayWhileAHandlerRunsTheEventLoop) {
  TestServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  bool handled = false;
  task_ = std::make_unique<QtWebSocketTask>(
      server.url(),
      WebSocketTask::Events{.text =
                                [&](const QString&) {
                                  server.client()->abort();
                                  EXPECT_TRUE(waitFor([&] { return failed(); }));
                                  task_.reset();
                                  handled = true;
                                },
                            .binary = {},
                            .receiveError = [this](const QString& r) { receiveErrors_.append(r); },
                            .sendError = {}},
      scheduler_, limits_);
  task_->resume();
  ASSERT_TRUE(waitFor([&] { return server.accepted() == 2; }));
  server.client()->sendTextMessage(u"x"_s);
  EXPECT_TRUE(waitFor([&] { return handled; }));
  testing_loop::drain();
  EXPECT_EQ(receiveErrors_.size(), 1);
}

TEST_F(QtWebSocket, callsNothingOnceDestroyed) {
  RawServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.asked(); }));
  task_->send(u"x"_s);
  task_.reset();
  EXPECT_TRUE(waitFor([&] { return server.closed(); }));
  EXPECT_FALSE(failed());
  EXPECT_TRUE(sendErrors_.isEmpty());
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

}  // namespace
}  // namespace vantora
