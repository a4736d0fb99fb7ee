#include <gtest/gtest.h>

#include <QJsonArray>

#include "main/desktop/DesktopProcessClient.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/Places.h"
#include "tests/fakes/PrintQt.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

// The double repeats every message as chat of its user. DesktopProcessTest tests the process itself.
class DesktopProcessClientTest : public testing::Test {
 protected:
  void SetUp() override {
    testloop::ensureApplication();
    qputenv("DESKTOP_DOUBLE_ECHOES", "1");
  }
  void TearDown() override { qunsetenv("DESKTOP_DOUBLE_ECHOES"); }

  void start(bool introduce = false) {
    side_.start({.state =
                     [this] {
                       ++stateReads_;
                       return state_;
                     },
                 .requested = [this](const UiRequest& request) { requests_.append(request); },
                 .sendChat =
                     [this](const QString& text) {
                       if (const auto message = parseJsonObject(text.toUtf8())) received_.append(*message);
                     }},
                introduce);
  }
  void startAndReceive() {
    start();
    ASSERT_TRUE(becomesReady());
    static_cast<void>(received());
  }
  // Once a process is ready, a request for the clipboard waits for its reply instead of completing at once.
  bool isReady() {
    const auto answered = std::make_shared<bool>(false);
    side_.clipboard().requestText([answered](const ClipboardReading&) { *answered = true; });
    return !*answered;
  }
  [[nodiscard]] bool becomesReady() {
    return testloop::waitFor([this] { return isReady(); });
  }
  // The messages sent to the desktop process since the last call, without the requests for the clipboard.
  QList<JsonObject> received() {
    const QString mark = u"mark %1"_s.arg(++marks_);
    setRoom(mark);
    EXPECT_TRUE(testloop::waitFor([&] { return !received_.isEmpty() && received_.last().value(u"room"_s) == mark; }));
    if (!received_.isEmpty()) received_.removeLast();
    received_.removeIf([](const JsonObject& message) { return message.value(u"type"_s) == u"clipboard_get"_s; });
    return std::exchange(received_, {});
  }
  void setRoom(const QString& room) {
    state_.roomId = room;
    side_.changed();
  }
  // The desktop process sends `message` to the session; returns when the session has handled it.
  void receiveFromDesktop(const JsonObject& message) {
    state_.qualityPreset = QString::fromUtf8(toJson(message));
    side_.changed();
    state_.qualityPreset.clear();
    side_.changed();
    static_cast<void>(received());
  }
  // Ends the process with the room of that name ("die" or "hang"), and returns the first messages to the next process.
  QList<JsonObject> receivedAfterEnd(const QString& room) {
    setRoom(room);
    EXPECT_TRUE(testloop::waitFor([this] {
      if (isReady()) scheduler_.advance(100ms);
      return !isReady();
    }));
    setRoom(u"next"_s);  // No process receives this.
    const int before = stateReads_;
    EXPECT_TRUE(testloop::waitFor([&] {
      if (stateReads_ == before) scheduler_.advance(100ms);
      return stateReads_ > before;
    }));
    EXPECT_TRUE(becomesReady());
    return received();
  }
  static QStringList typesOf(const QList<JsonObject>& messages) {
    QStringList types;
    for (const JsonObject& message : messages) types.append(message.value(u"type").toString());
    return types;
  }

  fakes::FakeScheduler scheduler_;
  HostState state_;
  QList<UiRequest> requests_;
  QList<JsonObject> received_;
  int marks_ = 0;
  int stateReads_ = 0;
  DesktopProcessClient side_{scheduler_, testplaces::program(u"desktop_double"_s)};
};

JsonObject chatShown(qint64 number, qint64 unread) {
  return {{u"type"_s, u"chat_shown"_s}, {u"number"_s, number}, {u"unread"_s, unread}};
}

JsonObject done(qint64 number) { return {{u"type"_s, u"done"_s}, {u"number"_s, number}}; }

TEST_F(DesktopProcessClientTest, makesTheClipboardUsableOnceTheProcessIsReady) {
  start();
  EXPECT_EQ(stateReads_, 1);
  int answers = 0;
  side_.clipboard().requestText([&](const ClipboardReading&) { ++answers; });
  EXPECT_EQ(answers, 1);
  EXPECT_TRUE(becomesReady());
}

TEST_F(DesktopProcessClientTest, asksForTheStateOnlyWhenThereIsASession) {
  side_.changed();
  side_.presentChat(u"a"_s, u"b"_s, 1);
  EXPECT_EQ(stateReads_, 0);
}

TEST_F(DesktopProcessClientTest, sendsTheStateWhenItChangedAndAllOfItToANewProcess) {
  state_.controlPIN = u"000042"_s;
  startAndReceive();
  side_.changed();
  side_.changed();
  EXPECT_TRUE(received().isEmpty());
  state_.sharingEnabled = true;
  side_.changed();
  const QList<JsonObject> changed = received();
  ASSERT_EQ(changed.size(), 1);
  EXPECT_TRUE(hostStateOf(changed[0])->sharingEnabled);

  const QList<JsonObject> next = receivedAfterEnd(u"die"_s);
  ASSERT_EQ(typesOf(next), QStringList{u"state"_s});
  EXPECT_EQ(hostStateOf(next[0])->roomId, u"next"_s);
  EXPECT_EQ(hostStateOf(next[0])->controlPIN, u"000042"_s);
  EXPECT_TRUE(hostStateOf(next[0])->sharingEnabled);
}

TEST_F(DesktopProcessClientTest, forwardsRequestsOfItsUser) {
  startAndReceive();
  receiveFromDesktop(toMessage(UiRequest{.action = UiAction::setFileReceiveAllowed, .allowed = true}));
  receiveFromDesktop({{u"type"_s, u"action"_s}, {u"name"_s, u"explode"_s}});
  receiveFromDesktop(toMessage(UiRequest{.action = UiAction::quit}));
  EXPECT_EQ(requests_, (QList<UiRequest>{{.action = UiAction::setFileReceiveAllowed, .allowed = true},
                                         {.action = UiAction::quit}}));
}

TEST_F(DesktopProcessClientTest, keepsInOrderWhatArrivesWhileTheProcessStarts) {
  start();
  side_.presentChat(u"viewer"_s, u"one"_s, 1);
  side_.deliverHostNotification(u"Chat from viewer"_s, u"one"_s);
  side_.presentChat(u"viewer"_s, u"two"_s, 2);
  side_.deliverHostNotification(u"Chat from viewer"_s, u"two"_s);
  side_.reopen();
  ASSERT_TRUE(becomesReady());
  const QList<JsonObject> messages = received();
  ASSERT_EQ(typesOf(messages), (QStringList{u"state"_s, u"chat"_s, u"chat"_s, u"notify"_s, u"notify"_s, u"reopen"_s}));
  EXPECT_EQ(messages[1].value(u"text"_s), u"one"_s);
  EXPECT_EQ(messages[2].value(u"text"_s), u"two"_s);
  EXPECT_EQ(messages[2].value(u"from"_s), u"viewer"_s);
  EXPECT_EQ(messages[2].value(u"ts"_s), 2);
  EXPECT_EQ(messages[3].value(u"body"_s), u"one"_s);
  EXPECT_EQ(messages[4].value(u"body"_s), u"two"_s);
  EXPECT_EQ(messages[4].value(u"title"_s), u"Chat from viewer"_s);
}

TEST_F(DesktopProcessClientTest, passesOnAtOnceWhatArrivesLater) {
  startAndReceive();
  side_.reopen();
  side_.presentChat(u"viewer"_s, u"one"_s, 1);
  EXPECT_EQ(typesOf(received()), (QStringList{u"reopen"_s, u"chat"_s}));
}

TEST_F(DesktopProcessClientTest, givesTheConversationAndTheUnseenLinesToTheNextProcess) {
  startAndReceive();
  side_.presentChat(u"viewer"_s, u"one"_s, 1);
  side_.deliverHostNotification(u"Chat from viewer"_s, u"one"_s);
  side_.presentChat(u"host"_s, u"two"_s, 2);
  receiveFromDesktop(chatShown(2, 2));
  receiveFromDesktop(done(1));
  const QList<JsonObject> next = receivedAfterEnd(u"die"_s);
  // Without a second notification.
  ASSERT_EQ(typesOf(next), (QStringList{u"state"_s, u"conversation"_s}));
  EXPECT_EQ(next[1].value(u"unread"_s), 2);
  const QJsonArray lines = next[1].value(u"lines"_s).toArray();
  ASSERT_EQ(lines.size(), 2);
  EXPECT_EQ(lines[0].toObject(), (JsonObject{{u"from"_s, u"viewer"_s}, {u"text"_s, u"one"_s}, {u"ts"_s, 1}}));
  EXPECT_EQ(lines[1].toObject(), (JsonObject{{u"from"_s, u"host"_s}, {u"text"_s, u"two"_s}, {u"ts"_s, 2}}));

  receiveFromDesktop(chatShown(2, 0));
  EXPECT_EQ(receivedAfterEnd(u"die"_s).last().value(u"unread"_s), 0);
}

TEST_F(DesktopProcessClientTest, keepsALaunchForAProcessThatCanShowIt) {
  startAndReceive();
  side_.reopen();
  side_.deliverHostNotification(u"Chat from viewer"_s, u"one"_s);
  receiveFromDesktop(done(2));
  receiveFromDesktop(done(17));
  EXPECT_EQ(typesOf(receivedAfterEnd(u"die"_s)), (QStringList{u"state"_s, u"reopen"_s}));
  receiveFromDesktop(done(1));
  EXPECT_EQ(typesOf(receivedAfterEnd(u"die"_s)), QStringList{u"state"_s});
}

TEST_F(DesktopProcessClientTest, introducesTheProgramOnceHoweverOftenTheProcessIsStarted) {
  start(true);
  ASSERT_TRUE(becomesReady());
  EXPECT_EQ(typesOf(received()), (QStringList{u"state"_s, u"introduce"_s}));
  // A process that ended before the decision has done nothing.
  EXPECT_EQ(typesOf(receivedAfterEnd(u"die"_s)), (QStringList{u"state"_s, u"introduce"_s}));
  receiveFromDesktop(done(1));
  EXPECT_EQ(typesOf(receivedAfterEnd(u"die"_s)), QStringList{u"state"_s});
}

TEST_F(DesktopProcessClientTest, losesNothingThatAHangingProcessDidNotShow) {
  startAndReceive();
  side_.presentChat(u"viewer"_s, u"shown"_s, 1);
  receiveFromDesktop(chatShown(1, 1));
  setRoom(u"hang"_s);
  side_.presentChat(u"viewer"_s, u"into the void"_s, 2);
  side_.deliverHostNotification(u"Chat from viewer"_s, u"into the void"_s);
  const QList<JsonObject> next = receivedAfterEnd(u"hang"_s);
  ASSERT_EQ(typesOf(next), (QStringList{u"state"_s, u"conversation"_s, u"chat"_s, u"notify"_s}));
  EXPECT_EQ(next[1].value(u"lines"_s).toArray().size(), 1);
  EXPECT_EQ(next[2].value(u"text"_s), u"into the void"_s);
  EXPECT_EQ(next[3].value(u"body"_s), u"into the void"_s);
}

TEST_F(DesktopProcessClientTest, keepsTheLastTwoHundredThousandUnitsOfTheConversation) {
  start();
  const QString text(1000 - 6 - ChatBacklog::kUnitsOfALine, u'x');
  for (int i = 0; i < 250; ++i) side_.presentChat(u"viewer"_s, text, i);
  ASSERT_TRUE(becomesReady());
  QList<JsonObject> messages = received();
  messages.removeFirst();
  // Lines that no window will ever show still count as unseen.
  EXPECT_EQ(messages.first().value(u"type"_s), u"conversation"_s);
  EXPECT_EQ(messages.takeFirst().value(u"unread"_s), 50);
  ASSERT_EQ(messages.size(), 200);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(messages[i].value(u"ts"_s), i + 50);
}

TEST_F(DesktopProcessClientTest, keepsTheEndOfALineThatIsLongerThanEverything) {
  start();
  side_.presentChat(u"viewer"_s, u"early"_s, 1);
  side_.presentChat(u"viewer"_s, QString(300000, u'x') + u"end"_s, 2);
  ASSERT_TRUE(becomesReady());
  const QList<JsonObject> messages = received();
  ASSERT_EQ(typesOf(messages), (QStringList{u"state"_s, u"conversation"_s, u"chat"_s}));
  const QString text = messages[2].value(u"text"_s).toString();
  EXPECT_EQ(text.size(), ChatBacklog::kMaxUnits - ChatBacklog::kUnitsOfALine);
  EXPECT_TRUE(text.endsWith(u"xend"_s));
}

TEST_F(DesktopProcessClientTest, dropsTheOldestOfAThousandNotificationsThatWait) {
  start();
  for (int i = 0; i < 1005; ++i) side_.deliverHostNotification(u"t"_s, QString::number(i));
  ASSERT_TRUE(becomesReady());
  const QList<JsonObject> messages = received();
  ASSERT_EQ(messages.size(), 1001);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(messages[i + 1].value(u"body"_s), QString::number(i + 5));
}

TEST_F(DesktopProcessClientTest, keepsNoMoreThanTwoMegabytesOfNotifications) {
  start();
  for (int i = 0; i < 900; ++i) {
    side_.deliverHostNotification(u"t"_s, u"%1 "_s.arg(i, 4) + QString(1'000'000, QChar(u'\u2603')));
  }
  ASSERT_TRUE(becomesReady());
  const QList<JsonObject> messages = received();
  qsizetype bytes = 0;
  for (const JsonObject& message : messages.sliced(1)) bytes += toJson(message).size();
  EXPECT_LE(bytes, DesktopProcessClient::kMaxKeptBytes);
  EXPECT_GE(bytes, DesktopProcessClient::kMaxKeptBytes * 9 / 10);
  EXPECT_TRUE(messages.last().value(u"body"_s).toString().startsWith(u" 899 "_s));
}

TEST_F(DesktopProcessClientTest, ignoresWhatADesktopProcessCannotHaveShown) {
  startAndReceive();
  side_.presentChat(u"viewer"_s, u"one"_s, 1);
  for (const JsonObject& message :
       {chatShown(2, 0), chatShown(1, -1), chatShown(-5, 0), JsonObject{{u"type"_s, u"chat_shown"_s}}}) {
    receiveFromDesktop(message);
  }
  EXPECT_EQ(typesOf(receivedAfterEnd(u"die"_s)), (QStringList{u"state"_s, u"chat"_s}));
}

}  // namespace
}  // namespace vantora
