// One connection attempt against servers that misbehave.
#include <gtest/gtest.h>

#include "main/signalling/QtWebSocketTask.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/protocol/signalling/RawServer.h"
#include "tests/protocol/signalling/TestServer.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testloop::RawServer;
using testloop::TestServer;
using testloop::waitFor;

class QtWebSocket : public testing::Test {
 protected:
  QtWebSocket() { testloop::ensureApplication(); }
  ~QtWebSocket() override {
    task_.reset();
    testloop::drain();
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
  // The server pings as fast as it can and reads none of the pongs: that ends the connection.
  void expectAnEndToPings(RawServer& server) {
    limits_.waitingBytes = 64 * 1024;
    limits_.pingPeriod = 1h;
    open(server.url());
    ASSERT_TRUE(waitFor([&] { return server.asked(); }));
    server.agree();
    server.socket()->write(QByteArray("\x81\x02hi", 4));
    ASSERT_TRUE(waitFor([&] { return texts_ == QStringList{u"hi"_s}; }));
    server.stopReading();
    // So few at once that their pongs alone are no reason.
    const QByteArray pings = (QByteArray("\x89\x7d", 2) + QByteArray(125, 'p')).repeated(200);
    qint64 sent = 0;
    const auto ping = [&] {
      if (!server.closed() && server.unsent() == 0) sent += server.socket()->write(pings);
    };
    EXPECT_TRUE(waitFor([&] {
      ping();
      scheduler_.advance(limits_.backlogPeriod);
      return failed();
    }));
    EXPECT_EQ(receiveErrors_, QStringList{u"Too much is waiting for the network."_s});
    // A server that does not read detects it when it writes.
    EXPECT_TRUE(waitFor([&] {
      ping();
      return server.closed();
    }));
    // What the kernel's own buffers take on a loopback connection, and the little that the task buffers.
    EXPECT_LT(sent, 64 * 1024 * 1024);
    EXPECT_EQ(scheduler_.runningTimers(), 0U);
  }

  fakes::FakeScheduler scheduler_;
  QtWebSocketTask::Limits limits_;
  std::unique_ptr<QtWebSocketTask> task_;
  QStringList texts_;
  QList<QByteArray> binaries_;
  QStringList receiveErrors_;
  QStringList sendErrors_;
};

TEST_F(QtWebSocket, givesUpOnAServerThatNeverAnswers) {
  RawServer server;
  open(server.url());
  task_->send(u"hello"_s);
  ASSERT_TRUE(waitFor([&] { return server.asked(); }));
  scheduler_.advance(limits_.handshake - 1ms);
  testloop::drain();
  EXPECT_FALSE(failed());
  scheduler_.advance(1ms);
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_EQ(receiveErrors_, QStringList{u"The server does not answer."_s});
  EXPECT_EQ(sendErrors_, QStringList{u"The server does not answer."_s});
  EXPECT_TRUE(waitFor([&] { return server.closed(); }));
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(QtWebSocket, tellsItsOwnAddressWhileItIsOpen) {
  TestServer server;
  open(server.url());
  EXPECT_EQ(task_->localAddress(), QString());
  ASSERT_TRUE(waitFor([&] { return task_->localAddress() == u"127.0.0.1"_s; }));
  server.client()->abort();
  ASSERT_TRUE(waitFor([&] { return failed(); }));
  EXPECT_EQ(task_->localAddress(), QString());
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
  server.agree();
  server.socket()->write(QByteArray("\x81\x02hi", 4));
  ASSERT_TRUE(waitFor([&] { return texts_ == QStringList{u"hi"_s}; }));
  scheduler_.advance(limits_.pingPeriod);
  testloop::drain();
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

TEST_F(QtWebSocket, breaksOnPingsOfAServerThatReadsNothing) {
  RawServer server;
  expectAnEndToPings(server);
}

TEST_F(QtWebSocket, breaksOnPingsOfAServerThatReadsNothingOfWhatIsEncrypted) {
  const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
  QSslConfiguration trusting = before;
  trusting.addCaCertificate(RawServer::certificate());
  QSslConfiguration::setDefaultConfiguration(trusting);
  RawServer server(RawServer::Kind::encrypted);
  expectAnEndToPings(server);
  QSslConfiguration::setDefaultConfiguration(before);
}

TEST_F(QtWebSocket, staysWithAServerThatPingsAndReads) {
  limits_.waitingBytes = 64 * 1024;
  limits_.pingPeriod = 1h;
  TestServer server;
  open(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  int answered = 0;
  QObject::connect(server.client(), &QWebSocket::pong, server.client(), [&] { ++answered; });
  // Ten times the limit in all, a tenth of it at once.
  for (int round = 1; round <= 100; ++round) {
    for (int i = 0; i < 50; ++i) server.client()->ping(QByteArray(125, 'p'));
    ASSERT_TRUE(waitFor([&] {
      scheduler_.advance(limits_.backlogPeriod);
      return answered == round * 50;
    }));
  }
  EXPECT_FALSE(failed());
  task_->send(u"still works"_s);
  EXPECT_TRUE(waitFor([&] { return server.texts().size() == 1; }));
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
  testloop::drain();
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
