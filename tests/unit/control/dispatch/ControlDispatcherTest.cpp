#include <gtest/gtest.h>

#include "main/control/dispatch/ControlDispatcher.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/unit/control/dispatch/MessageTypes.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Sent = fakes::FakeControlSender::Sent;

class ControlDispatcherTest : public testing::Test {
 protected:
  // Handlers for every type of the table; `handled_` counts per type.
  void bindAll(Handled answer = Handled::yes) {
    for (const ControlMessageRow& row : controlMessageTable()) {
      dispatcher_.on(row.type, [this, answer, type = QString(row.type)](const ControlRequest&) {
        handled_.append(type);
        return answer;
      });
    }
    dispatcher_.onBinary([this](const QByteArray& data) { binary_.append(data); });
  }
  void receive(const QByteArray& text, ControlChannel origin = ControlChannel::control) {
    dispatcher_.dataChannelDidReceiveMessage(origin, text, false);
  }
  void expectDropped(const QByteArray& text) {
    receive(text);
    EXPECT_TRUE(handled_.isEmpty()) << text.left(80).toStdString();
    EXPECT_TRUE(sender_.sent.isEmpty()) << text.left(80).toStdString();
    EXPECT_TRUE(log_.lines().isEmpty()) << text.left(80).toStdString();
  }

  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  fakes::FakeControlSender sender_;
  std::set<Gate> open_;
  ControlDispatcher dispatcher_{sender_, scheduler_, [this](Gate gate) { return open_.contains(gate); }};
  QStringList handled_;
  QList<QByteArray> binary_;
};

TEST_F(ControlDispatcherTest, runsEachTypeExactlyWhenItsOwnGateIsOpen) {
  bindAll();
  const std::array gates{Gate::none, Gate::input, Gate::command, Gate::file};
  for (unsigned rights = 0; rights < 8; ++rights) {
    open_.clear();
    for (unsigned bit = 0; bit < 3; ++bit) {
      if (rights & (1U << bit)) open_.insert(gates[bit + 1]);
    }
    for (const ControlMessageRow& expected : kExpectedTypes) {
      handled_.clear();
      receive(toJson({{u"type"_s, QString(expected.type)}}));
      const bool runs = expected.gate == Gate::none || open_.contains(expected.gate);
      EXPECT_EQ(handled_, runs ? QStringList{expected.type} : QStringList{})
          << expected.type.data() << " with rights " << rights;
    }
  }
}

TEST_F(ControlDispatcherTest, acknowledgesExactlyTheTypesThatAreAcknowledged) {
  bindAll();
  open_ = {Gate::input, Gate::command, Gate::file};
  for (const ControlMessageRow& expected : kExpectedTypes) {
    receive(toJson({{u"type"_s, QString(expected.type)}, {u"req"_s, 9}}));
    JsonObject ack{{u"type"_s, u"ack"_s}};
    if (expected.acknowledgement == Acknowledgement::withRequest) ack.insert(u"req"_s, 9);
    QList<Sent> wanted;
    if (expected.acknowledgement != Acknowledgement::never) wanted.append({ControlChannel::control, ack});
    EXPECT_EQ(sender_.take(), wanted) << expected.type.data();
  }
}

TEST_F(ControlDispatcherTest, copiesTheRequestUnchangedIntoTheAcknowledgement) {
  bindAll();
  for (const char* req : {R"({"n":5})", "null", "true", "false", "0", "-1.5", "9007199254740993", R"("")", R"("ä\n")",
                          "[]", R"([1,{"a":[null]}])", "{}"}) {
    receive(QByteArray(R"({"type":"clipboard_set","req":)") + req + "}");
    ASSERT_EQ(sender_.sent.size(), 1) << req;
    const auto wanted = parseJsonObject(QByteArray(R"({"type":"ack","req":)") + req + "}");
    ASSERT_TRUE(wanted) << req;
    EXPECT_EQ(sender_.take()[0].message, *wanted) << req;
  }
}

TEST_F(ControlDispatcherTest, leavesTheRequestOutWhenThereWasNone) {
  bindAll();
  receive(R"({"type":"clipboard_set"})");
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(sender_.sent[0].message, (JsonObject{{u"type"_s, u"ack"_s}}));
}

TEST_F(ControlDispatcherTest, acknowledgesOnTheChannelOfTheRequest) {
  bindAll();
  receive(R"({"type":"auth"})", ControlChannel::control);
  receive(R"({"type":"auth"})", ControlChannel::reliable);
  ASSERT_EQ(sender_.sent.size(), 2);
  EXPECT_EQ(sender_.sent[0].channel, ControlChannel::control);
  EXPECT_EQ(sender_.sent[1].channel, ControlChannel::reliable);
}

TEST_F(ControlDispatcherTest, doesNotAcknowledgeWhatTheHandlerIgnored) {
  bindAll(Handled::ignored);
  receive(R"({"type":"clipboard_set","req":1})");
  EXPECT_EQ(handled_.size(), 1);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ControlDispatcherTest, leavesTheAcknowledgementToAHandlerThatAnswersLater) {
  bindAll(Handled::later);
  receive(R"({"type":"control","req":1})");
  EXPECT_EQ(handled_.size(), 1);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ControlDispatcherTest, acknowledgesLaterAsTheRowSays) {
  std::function<void()> acknowledge;
  const auto later = [&](const ControlRequest& request) {
    acknowledge = dispatcher_.acknowledgeLater(request);
    return Handled::later;
  };
  for (const QLatin1StringView type : {"control"_L1, "cursor_query"_L1, "ping"_L1}) dispatcher_.on(type, later);
  receive(R"({"type":"control","req":1})", ControlChannel::reliable);
  acknowledge();
  receive(R"({"type":"cursor_query","req":1})");
  acknowledge();
  receive(R"({"type":"ping","req":1})");
  acknowledge();
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 1}}},
                                         {ControlChannel::control, {{u"type"_s, u"ack"_s}}}}));
  receive(R"({"type":"control","req":2})");
  ++sender_.connectionNumber;
  acknowledge();
  EXPECT_TRUE(sender_.sent.isEmpty()) << "that viewer was replaced";
}

TEST_F(ControlDispatcherTest, tellsARefusedMessageWhyWhenThatIsInstalled) {
  bindAll();
  QStringList refused;
  dispatcher_.onRefused("exec_command"_L1,
                        [&](const ControlRequest& request) { refused.append(request.body.value(u"id").toString()); });
  receive(R"({"type":"exec_command","id":"a"})");
  receive(R"({"type":"open_activity_monitor","id":"b"})");
  EXPECT_EQ(refused, QStringList{u"a"_s});
  open_ = {Gate::command};
  receive(R"({"type":"exec_command","id":"c"})");
  EXPECT_EQ(refused, QStringList{u"a"_s});
  EXPECT_EQ(handled_, QStringList{u"exec_command"_s});
}

TEST_F(ControlDispatcherTest, ignoresATypeWithoutAHandlerLikeAnUnknownOne) { expectDropped(R"({"type":"auth"})"); }

TEST_F(ControlDispatcherTest, refusesAHandlerForATypeOutsideTheTable) {
  EXPECT_DEATH(dispatcher_.on("no_such_type"_L1, [](const ControlRequest&) { return Handled::yes; }), "");
  EXPECT_DEATH(dispatcher_.onRefused("no_such_type"_L1, [](const ControlRequest&) {}), "");
}

TEST_F(ControlDispatcherTest, dropsWhatIsNoMessageWithoutAReplyOrALogLine) {
  bindAll();
  open_ = {Gate::input, Gate::command, Gate::file};
  for (const QByteArray& text : {QByteArray(),
                                 QByteArray(" "),
                                 QByteArray("{"),
                                 QByteArray("[]"),
                                 QByteArray("null"),
                                 QByteArray("\"ping\""),
                                 QByteArray("5"),
                                 QByteArray("{}"),
                                 QByteArray(R"({"type":5})"),
                                 QByteArray(R"({"type":null})"),
                                 QByteArray(R"({"type":["ping"]})"),
                                 QByteArray(R"({"type":{"a":1}})"),
                                 QByteArray(R"({"type":true})"),
                                 QByteArray(R"([{"type":"ping"}])"),
                                 QByteArray(R"({"type":""})"),
                                 QByteArray(R"({"type":"Ping"})"),
                                 QByteArray(R"({"type":"nope","req":1})"),
                                 QByteArray(R"({"type":"auth"} x)"),
                                 QByteArray(R"({'type':'auth'})"),
                                 QByteArray("{\"type\":\"auth\",}"),
                                 QByteArray("{\"type\":\"auth\",\"token\":\"\xff\xfe\"}"),
                                 QByteArray("\xc3\x28"),
                                 QByteArray("{\"type\":\"auth\xed\xa0\x80\"}"),
                                 QByteArray(1, '\0'),
                                 QByteArray("{\"type\":\"auth\"}\0{}", 18),
                                 QByteArray(R"({"type":"auth","a":NaN})"),
                                 QByteArray(R"({"type":"auth","a":01})")}) {
    expectDropped(text);
  }
}

TEST_F(ControlDispatcherTest, dropsTextThatIsNestedWithoutEnd) {
  bindAll();
  expectDropped(QByteArray(R"({"type":"auth","req":)") + QByteArray(100'000, '[') + QByteArray(100'000, ']') + "}");
  expectDropped(QByteArray(1'000'000, '{'));
  expectDropped(QByteArray(R"({"type":)").repeated(50'000));
}

TEST_F(ControlDispatcherTest, acknowledgesDeeplyNestedRequests) {
  bindAll();
  receive(QByteArray(R"({"type":"auth","req":)") + QByteArray(500, '[') + QByteArray(500, ']') + "}");
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(toJson(sender_.sent[0].message).count('['), 500);
}

TEST_F(ControlDispatcherTest, takesAMessageOfAMegabyte) {
  bindAll();
  const QString big(1'000'000, u'x');
  receive(toJson({{u"type"_s, u"clipboard_set"_s}, {u"req"_s, big}}));
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(sender_.sent[0].message.value(u"req").toString(), big);
}

TEST_F(ControlDispatcherTest, dropsATypeOfAMegabyte) {
  bindAll();
  expectDropped(toJson({{u"type"_s, QString(1'000'000, u'x')}}));
}

TEST_F(ControlDispatcherTest, handsBinaryMessagesOnUnread) {
  bindAll();
  const QByteArray piece(R"({"type":"auth"})");
  dispatcher_.dataChannelDidReceiveMessage(ControlChannel::reliable, piece, true);
  EXPECT_EQ(binary_, QList<QByteArray>{piece});
  EXPECT_TRUE(handled_.isEmpty());
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ControlDispatcherTest, ignoresBinaryMessagesWhileNobodyTakesThem) {
  dispatcher_.dataChannelDidReceiveMessage(ControlChannel::reliable, "abc", true);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ControlDispatcherTest, measuresTheLatencyAgainstAClockThatBeginsIn2001) {
  std::optional<LatencyEcho> latency;
  dispatcher_.on("ping"_L1, [&](const ControlRequest& request) {
    latency = request.latency;
    return Handled::yes;
  });
  scheduler_.setUnixBase(978'307'210s);  // Ten seconds into 2001.
  receive(R"({"type":"ping","timestamp":9000.5})");
  ASSERT_TRUE(latency);
  EXPECT_DOUBLE_EQ(latency->hostTimestamp, 10'000);
  EXPECT_DOUBLE_EQ(latency->inputLatency, 999.5);
  for (const char* wrong : {R"("9000")", "null", "true", "[]", "{}"}) {
    receive(QByteArray(R"({"type":"ping","timestamp":)") + wrong + "}");
    EXPECT_FALSE(latency) << wrong;
  }
  receive(R"({"type":"ping"})");
  EXPECT_FALSE(latency);
}

TEST_F(ControlDispatcherTest, tellsHandlersWhereTheRequestCameFrom) {
  std::optional<ControlChannel> origin;
  dispatcher_.on("ping"_L1, [&](const ControlRequest& request) {
    origin = request.origin;
    return Handled::yes;
  });
  receive(R"({"type":"ping"})", ControlChannel::reliable);
  EXPECT_EQ(origin, ControlChannel::reliable);
}

}  // namespace
}  // namespace vantora
