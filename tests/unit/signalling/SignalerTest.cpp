#include <gtest/gtest.h>

#include "main/signalling/Signaler.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/FakeWebSocketTask.h"
#include "tests/fakes/RecordedLog.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class SignalerTest : public testing::Test {
 protected:
  std::unique_ptr<Signaler> make() {
    const QString url = u"ws://h:8080"_s;
    return std::make_unique<Signaler>(
        Signaler::Settings{.url = {QUrl(url), url}, .room = u"r"_s, .tokenLookup = [this] { return token_; }},
        scheduler_, sockets_.factory());
  }
  static JsonObject parsed(const QString& text) { return parseJsonObject(text.toUtf8()).value_or(JsonObject()); }
  // Breaks the present connection and waits for the reconnect.
  void failAndReconnect() {
    sockets_.last().failReceiving(u"broken"_s);
    scheduler_.advance(10s);
  }

  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  fakes::FakeWebSockets sockets_;
  std::optional<QString> token_;
};

TEST_F(SignalerTest, logsTheUrlAndConnectsWhenMade) {
  const auto signaler = make();
  EXPECT_EQ(log_.lines(), QStringList{u"[ws] signaling url: ws://h:8080"_s});
  ASSERT_EQ(sockets_.connections.size(), 1U);
  EXPECT_EQ(sockets_.last().url, QUrl(u"ws://h:8080"_s));
  EXPECT_TRUE(sockets_.last().resumed);
}

TEST_F(SignalerTest, joinsAsTheHostBeforeAnythingElse) {
  const auto signaler = make();
  ASSERT_EQ(sockets_.last().sent.size(), 1);
  EXPECT_EQ(parsed(sockets_.last().sent[0]),
            (JsonObject{{u"type"_s, u"join"_s}, {u"room"_s, u"r"_s}, {u"role"_s, u"host"_s}}));
}

TEST_F(SignalerTest, joinsWithTheTokenWhenItIsNotEmpty) {
  token_ = u"t"_s;
  const auto signaler = make();
  EXPECT_EQ(parsed(sockets_.last().sent[0]).value(u"token"_s), QJsonValue(u"t"_s));
  token_ = u""_s;
  failAndReconnect();
  EXPECT_FALSE(parsed(sockets_.last().sent[0]).contains(u"token"_s));
}

TEST_F(SignalerTest, readsTheTokenAtEachConnect) {
  const auto signaler = make();
  token_ = u"later"_s;
  failAndReconnect();
  EXPECT_EQ(parsed(sockets_.last().sent[0]).value(u"token"_s), QJsonValue(u"later"_s));
}

TEST_F(SignalerTest, reportsEachOpenButTheFirst) {
  const auto signaler = make();
  int opens = 0;
  signaler->onOpen = [&] { ++opens; };
  EXPECT_EQ(opens, 0);
  failAndReconnect();
  EXPECT_EQ(opens, 1);
  failAndReconnect();
  EXPECT_EQ(opens, 2);
}

TEST_F(SignalerTest, reportsTheOpenAfterTheJoin) {
  const auto signaler = make();
  signaler->onOpen = [&] { EXPECT_TRUE(signaler->send({{u"type"_s, u"offer"_s}})); };
  failAndReconnect();
  ASSERT_EQ(sockets_.last().sent.size(), 2);
  EXPECT_EQ(parsed(sockets_.last().sent[0]).value(u"type"_s), QJsonValue(u"join"_s));
  EXPECT_EQ(parsed(sockets_.last().sent[1]).value(u"type"_s), QJsonValue(u"offer"_s));
}

TEST_F(SignalerTest, sendsCompactJson) {
  const auto signaler = make();
  EXPECT_TRUE(signaler->send({{u"a"_s, u"ä\n"_s}}));
  EXPECT_EQ(sockets_.last().sent.last(), u"{\"a\":\"ä\\n\"}"_s);
}

TEST_F(SignalerTest, logsASendErrorAndGoesOn) {
  const auto signaler = make();
  log_.clear();
  sockets_.last().failSending(u"no route"_s);
  EXPECT_EQ(log_.lines(), QStringList{u"[ws] send error: no route"_s});
  scheduler_.advance(60s);
  EXPECT_EQ(sockets_.connections.size(), 1U);
}

TEST_F(SignalerTest, handsOnEveryJsonObject) {
  const auto signaler = make();
  QList<JsonObject> received;
  signaler->onMessage = [&](const JsonObject& message) { received.append(message); };
  sockets_.last().deliverText(u"{\"type\":\"answer\"}"_s);
  sockets_.last().deliverText(u"{}"_s);
  EXPECT_EQ(received, (QList<JsonObject>{{{u"type"_s, u"answer"_s}}, {}}));
}

TEST_F(SignalerTest, dropsEverythingElseSilentlyAndKeepsListening) {
  const auto signaler = make();
  int received = 0;
  signaler->onMessage = [&](const JsonObject&) { ++received; };
  log_.clear();
  for (const QString& text : {QString(), u"[]"_s, u"1"_s, u"null"_s, u"\"x\""_s, u"{"_s, u"{}{}"_s, u"{\"a\":}"_s,
                              QString(100'000, u'['), u"not json"_s}) {
    sockets_.last().deliverText(text);
  }
  sockets_.last().deliverBinary("{\"type\":\"answer\"}");
  EXPECT_EQ(received, 0);
  EXPECT_TRUE(log_.lines().isEmpty());
  sockets_.last().deliverText(u"{}"_s);
  EXPECT_EQ(received, 1);
}

TEST_F(SignalerTest, survivesMessagesWithoutAHandler) {
  const auto signaler = make();
  sockets_.last().deliverText(u"{}"_s);
  EXPECT_EQ(sockets_.connections.size(), 1U);
}

TEST_F(SignalerTest, waitsLongerAfterEachFailureAndNeverLessAgain) {
  const auto signaler = make();
  QStringList expected;
  const std::vector<std::pair<std::chrono::milliseconds, QString>> delays{
      {500ms, u"0.5"_s}, {1s, u"1.0"_s},   {2s, u"2.0"_s},   {4s, u"4.0"_s},
      {8s, u"8.0"_s},    {10s, u"10.0"_s}, {10s, u"10.0"_s}, {10s, u"10.0"_s}};
  for (const auto& [delay, text] : delays) {
    const std::size_t before = sockets_.connections.size();
    // Messages arrive: the connection worked, which does not shorten the next wait.
    sockets_.last().deliverText(u"{}"_s);
    log_.clear();
    sockets_.last().failReceiving(u"gone"_s);
    EXPECT_EQ(log_.lines(), (QStringList{u"[ws] recv error: gone"_s, u"[ws] reconnect in "_s + text + u"s"_s}));
    scheduler_.advance(delay - 1ms);
    EXPECT_EQ(sockets_.connections.size(), before);
    scheduler_.advance(1ms);
    EXPECT_EQ(sockets_.connections.size(), before + 1);
  }
}

TEST_F(SignalerTest, keepsTheFailedTaskUntilTheNextIsMade) {
  const auto signaler = make();
  sockets_.last().failReceiving(u"gone"_s);
  EXPECT_FALSE(sockets_.connections[0]->destroyed);
  // The message goes to the failed task, which reports a send error.
  EXPECT_TRUE(signaler->send({{u"type"_s, u"offer"_s}}));
  EXPECT_EQ(sockets_.connections[0]->sent.size(), 2);
  scheduler_.advance(500ms);
  EXPECT_TRUE(sockets_.connections[0]->destroyed);
  EXPECT_FALSE(sockets_.connections[1]->destroyed);
}

TEST_F(SignalerTest, receivesNothingFromASupersededTask) {
  const auto signaler = make();
  int received = 0;
  signaler->onMessage = [&](const JsonObject&) { ++received; };
  failAndReconnect();
  log_.clear();
  sockets_.connections[0]->deliverText(u"{}"_s);
  sockets_.connections[0]->failReceiving(u"late"_s);
  EXPECT_EQ(received, 0);
  EXPECT_TRUE(log_.lines().isEmpty());
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(SignalerTest, takesAnExplicitConnectForTheWaitingOne) {
  const auto signaler = make();
  sockets_.last().failReceiving(u"gone"_s);
  signaler->connect();
  scheduler_.advance(60s);
  EXPECT_EQ(sockets_.connections.size(), 2U);
}

TEST_F(SignalerTest, connectsAgainWhenItsAddressIsGone) {
  const auto signaler = make();
  sockets_.last().localAddress = u"10.0.0.5"_s;
  EXPECT_FALSE(signaler->addressesChanged({u"10.0.0.5"_s, u"10.0.0.9"_s}));
  EXPECT_EQ(sockets_.connections.size(), 1U);
  log_.clear();
  EXPECT_TRUE(signaler->addressesChanged({u"10.0.0.9"_s}));
  EXPECT_EQ(log_.lines(), QStringList{u"[ws] the machine's address changed, connecting again"_s});
  ASSERT_EQ(sockets_.connections.size(), 2U);
  EXPECT_FALSE(signaler->addressesChanged({u"10.0.0.9"_s})) << "its address is not known yet";
}

TEST_F(SignalerTest, doesNotWaitForADelayWhenTheAddressesChange) {
  const auto signaler = make();
  sockets_.last().failReceiving(u"gone"_s);
  EXPECT_TRUE(signaler->addressesChanged({u"10.0.0.9"_s}));
  EXPECT_EQ(sockets_.connections.size(), 2U);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  log_.clear();
  sockets_.last().failReceiving(u"gone"_s);
  EXPECT_EQ(log_.lines().last(), u"[ws] reconnect in 1.0s"_s);
}

TEST_F(SignalerTest, doesNotReconnectOnceDestroyed) {
  auto signaler = make();
  sockets_.last().failReceiving(u"gone"_s);
  signaler.reset();
  EXPECT_TRUE(sockets_.connections[0]->destroyed);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  scheduler_.advance(60s);
  EXPECT_EQ(sockets_.connections.size(), 1U);
}

TEST_F(SignalerTest, mayBeDestroyedByItsOwnHandlers) {
  auto signaler = make();
  signaler->onMessage = [&](const JsonObject&) { signaler.reset(); };
  sockets_.last().deliverText(u"{}"_s);
  EXPECT_EQ(signaler, nullptr);

  signaler = make();
  signaler->onOpen = [&] { signaler.reset(); };
  failAndReconnect();
  EXPECT_EQ(signaler, nullptr);
}

}  // namespace
}  // namespace vantora
