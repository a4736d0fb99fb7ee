// The Signaler against a real WebSocket server.
#include <gtest/gtest.h>

#include "main/signalling/QtWebSocketTask.h"
#include "main/signalling/Signaler.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/protocol/signalling/TestServer.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testloop::TestServer;
using testloop::waitFor;

class SignalerServer : public testing::Test {
 protected:
  SignalerServer() { testloop::ensureApplication(); }
  ~SignalerServer() override {
    signaler_.reset();
    testloop::drain();
  }

  void connectTo(const QUrl& url) {
    signaler_ = std::make_unique<Signaler>(
        Signaler::Settings{.url = {url, url.toString()}, .room = u"room-1"_s, .tokenLookup = [this] { return token_; }},
        scheduler_, qtWebSocketTasks(scheduler_));
    signaler_->onMessage = [this](const JsonObject& message) { received_.append(message); };
    signaler_->onOpen = [this] { ++opens_; };
  }
  static JsonObject parsed(const QString& text) { return parseJsonObject(text.toUtf8()).value_or(JsonObject()); }
  bool logged(const QString& line) const { return log_.lines().contains(line); }

  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  std::optional<QString> token_;
  std::unique_ptr<Signaler> signaler_;
  QList<JsonObject> received_;
  int opens_ = 0;
};

TEST_F(SignalerServer, getsTheJoinWithRoomRoleAndToken) {
  TestServer server;
  ASSERT_TRUE(server.listening());
  token_ = u"secret"_s;
  connectTo(server.url());
  ASSERT_TRUE(waitFor([&] { return !server.texts().isEmpty(); }));
  EXPECT_EQ(parsed(server.texts()[0]),
            (JsonObject{
                {u"type"_s, u"join"_s}, {u"room"_s, u"room-1"_s}, {u"role"_s, u"host"_s}, {u"token"_s, u"secret"_s}}));
}

TEST_F(SignalerServer, getsWhatWasSentBeforeTheConnectionOpenedInOrder) {
  TestServer server;
  connectTo(server.url());
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(signaler_->send({{u"n"_s, i}}));
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 21; }));
  EXPECT_EQ(parsed(server.texts()[0]).value(u"type"_s), QJsonValue(u"join"_s));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(parsed(server.texts()[i + 1]).value(u"n"_s), QJsonValue(i));
}

TEST_F(SignalerServer, acceptsTextFramesOnly) {
  TestServer server;
  connectTo(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  log_.clear();
  server.client()->sendBinaryMessage("{\"type\":\"binary\"}");
  server.client()->sendTextMessage(u"{\"type\":\"text\",\"ä\":1}"_s);
  ASSERT_TRUE(waitFor([&] { return !received_.isEmpty(); }));
  EXPECT_EQ(received_, (QList<JsonObject>{{{u"type"_s, u"text"_s}, {u"ä"_s, 1}}}));
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(SignalerServer, mayTalkGarbageWithoutEffect) {
  TestServer server;
  connectTo(server.url());
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  log_.clear();
  for (const QString& text : {u"[]"_s, u"}{"_s, u"7"_s, QString(1'000'000, u'[')})
    server.client()->sendTextMessage(text);
  server.client()->sendTextMessage(u"{\"last\":true}"_s);
  ASSERT_TRUE(waitFor([&] { return !received_.isEmpty(); }));
  EXPECT_EQ(received_, (QList<JsonObject>{{{u"last"_s, true}}}));
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(SignalerServer, isJoinedAgainAfterItBrokeTheConnection) {
  TestServer server;
  connectTo(server.url());
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 1; }));
  server.client()->abort();
  ASSERT_TRUE(waitFor([&] { return logged(u"[ws] reconnect in 0.5s"_s); }));
  EXPECT_EQ(opens_, 0);

  scheduler_.advance(500ms);
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 2; }));
  EXPECT_EQ(parsed(server.texts()[1]).value(u"type"_s), QJsonValue(u"join"_s));
  EXPECT_EQ(opens_, 1);

  // The success did not shorten the next wait.
  server.client()->abort();
  ASSERT_TRUE(waitFor([&] { return logged(u"[ws] reconnect in 1.0s"_s); }));
}

TEST_F(SignalerServer, countsAsBrokenWhenItClosesPolitely) {
  TestServer server;
  connectTo(server.url());
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 1; }));
  server.client()->close(QWebSocketProtocol::CloseCodeGoingAway, u"bye\nbye"_s);
  ASSERT_TRUE(waitFor([&] { return logged(u"[ws] reconnect in 0.5s"_s); }));
  EXPECT_TRUE(logged(u"[ws] recv error: The connection was closed, code 1001: bye bye"_s));
}

TEST_F(SignalerServer, isWaitedForWhenItIsNotThereYet) {
  quint16 port = 0;
  {
    const TestServer earlier;
    port = earlier.port();
  }
  connectTo(QUrl(u"ws://127.0.0.1:%1"_s.arg(port)));
  const std::vector<std::pair<std::chrono::milliseconds, QString>> delays{
      {500ms, u"0.5"_s}, {1s, u"1.0"_s}, {2s, u"2.0"_s}, {4s, u"4.0"_s}, {8s, u"8.0"_s}, {10s, u"10.0"_s}};
  for (const auto& [delay, text] : delays) {
    log_.clear();
    ASSERT_TRUE(waitFor([&, &text = text] { return logged(u"[ws] reconnect in "_s + text + u"s"_s); }))
        << text.toStdString();
    // The join could not be delivered; the failure of the connection itself follows.
    ASSERT_EQ(log_.lines().size(), 3);
    EXPECT_TRUE(log_.lines()[0].startsWith("[ws] send error: "_L1));
    EXPECT_TRUE(log_.lines()[1].startsWith("[ws] recv error: "_L1));
    if (text == "10.0"_L1) break;
    scheduler_.advance(delay);
  }
  // Another program may use the port for a moment.
  std::unique_ptr<TestServer> server;
  ASSERT_TRUE(waitFor([&] {
    server = std::make_unique<TestServer>(port);
    return server->listening();
  }));
  scheduler_.advance(10s);
  ASSERT_TRUE(waitFor([&] { return server->texts().size() == 1; }));
  EXPECT_EQ(opens_, 6);
}

TEST_F(SignalerServer, receivesNothingWhileTheConnectionIsBroken) {
  TestServer server;
  connectTo(server.url());
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 1; }));
  server.client()->abort();
  ASSERT_TRUE(waitFor([&] { return logged(u"[ws] reconnect in 0.5s"_s); }));
  log_.clear();
  EXPECT_TRUE(signaler_->send({{u"lost"_s, true}}));
  ASSERT_EQ(log_.lines().size(), 1);
  EXPECT_TRUE(log_.lines()[0].startsWith("[ws] send error: "_L1));
  scheduler_.advance(500ms);
  ASSERT_TRUE(waitFor([&] { return server.texts().size() == 2; }));
  EXPECT_EQ(parsed(server.texts()[1]).value(u"type"_s), QJsonValue(u"join"_s));
}

TEST_F(SignalerServer, needNotSpeakAKnownScheme) {
  for (const QString& url : {u"http://127.0.0.1:1"_s, u"room"_s, u"localhost:8080"_s}) {
    connectTo(QUrl(url));
    log_.clear();
    ASSERT_TRUE(waitFor([&] { return logged(u"[ws] reconnect in 0.5s"_s); })) << url.toStdString();
  }
}

TEST_F(SignalerServer, mayMakeAHandlerDestroyTheSignaler) {
  TestServer server;
  connectTo(server.url());
  signaler_->onMessage = [this](const JsonObject&) { signaler_.reset(); };
  ASSERT_TRUE(waitFor([&] { return server.connected(); }));
  server.client()->sendTextMessage(u"{}"_s);
  server.client()->sendTextMessage(u"{}"_s);
  ASSERT_TRUE(waitFor([&] { return signaler_ == nullptr; }));
  EXPECT_TRUE(waitFor([&] { return !server.connected(); }));
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

}  // namespace
}  // namespace vantora
