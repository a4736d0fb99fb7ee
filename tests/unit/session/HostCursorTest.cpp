// When the session watches the cursor, and what the viewer can ask about it.
#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostCursorTest : public HostFixture {
 protected:
  // The shapes sent on "control" since the last call.
  QStringList shapes() {
    QStringList list;
    for (const JsonObject& message : received("control"_L1)) {
      if (message.value(u"type"_s) == u"cursor_shape"_s) list.append(message.value(u"shape"_s).toString());
    }
    return list;
  }
};

TEST_F(HostCursorTest, watchesWhileTheReliableChannelIsOpen) {
  start();
  EXPECT_FALSE(cursor_.watched());
  peer().control().open();
  EXPECT_FALSE(cursor_.watched());
  peer().reliable().open();
  EXPECT_TRUE(cursor_.watched());
  scheduler_.advance(100ms);
  EXPECT_EQ(shapes(), QStringList{u"default"_s});
  cursor_.show(u"xterm"_s);
  EXPECT_EQ(shapes(), QStringList{u"text"_s});
  peer().control().close();
  EXPECT_TRUE(cursor_.watched());
  peer().reliable().close();
  EXPECT_FALSE(cursor_.watched());
}

TEST_F(HostCursorTest, watchesAgainWhenTheNewChannelOpens) {
  connectViewer();
  peer().reliable().close();
  peer().reliable().open();
  EXPECT_TRUE(cursor_.watched());
  EXPECT_EQ(cursor_.watches, 2);
}

TEST_F(HostCursorTest, stopsWithTheSession) {
  connectViewer();
  host_->shutdown();
  EXPECT_FALSE(cursor_.watched());
}

TEST_F(HostCursorTest, stopsWithTheConnection) {
  connectViewer();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  answer(u"BB"_s, u"u2"_s);  // Another viewer: the connection is rebuilt.
  EXPECT_FALSE(cursor_.watched());
}

TEST_F(HostCursorTest, answersAQueryWithTheShapeAndThenAnAckWithoutItsRequest) {
  connectViewer();
  cursor_.showQuietly(u"hand2"_s);
  for (int time = 0; time < 2; ++time) {
    say({{u"type"_s, u"cursor_query"_s}, {u"req"_s, 7}}, "control"_L1);
    const QList<JsonObject> messages = received("control"_L1);
    ASSERT_EQ(messages.size(), 2);
    EXPECT_EQ(messages[0].value(u"shape"_s), QJsonValue(u"pointer"_s));
    EXPECT_EQ(messages[1], (JsonObject{{u"type"_s, u"ack"_s}}));
  }
  // The acknowledgement goes to the channel of the request.
  say({{u"type"_s, u"cursor_query"_s}, {u"req"_s, 7}});
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"ack"_s}}}));
  EXPECT_EQ(shapes(), QStringList{u"pointer"_s});
}

TEST_F(HostCursorTest, acknowledgesAQueryAfterTheElementWasFound) {
  accessibility_.trusted = AccessibilityTrust::granted;
  accessibility_.answersAtOnce = false;
  connectViewer();
  say({{u"type"_s, u"cursor_query"_s}}, "control"_L1);
  EXPECT_TRUE(received("control"_L1).isEmpty());
  accessibility_.pointed = {.elements = {{.role = u"AXTextArea"_s}}};
  accessibility_.answer();
  const QList<JsonObject> messages = received("control"_L1);
  ASSERT_EQ(messages.size(), 2);
  EXPECT_EQ(messages[0].value(u"shape"_s), QJsonValue(u"text"_s));
  EXPECT_EQ(messages[1], (JsonObject{{u"type"_s, u"ack"_s}}));
}

TEST_F(HostCursorTest, tellsAnotherViewerNothingOfAQuery) {
  accessibility_.trusted = AccessibilityTrust::granted;
  accessibility_.answersAtOnce = false;
  connectViewer();
  say({{u"type"_s, u"cursor_query"_s}}, "control"_L1);
  replaceViewer();
  accessibility_.pointed = {.elements = {{.role = u"AXTextArea"_s}}};
  accessibility_.answer();
  EXPECT_TRUE(received("control"_L1).isEmpty());
  EXPECT_TRUE(received().isEmpty());
}

TEST_F(HostCursorTest, sendsTheTestShapeAndThenTheAck) {
  connectViewer();
  const JsonObject req{{u"n"_s, 5}};
  say({{u"type"_s, u"test_cursor"_s}, {u"shape"_s, u"zoom-out"_s}, {u"req"_s, req}}, "control"_L1);
  const QList<JsonObject> messages = received("control"_L1);
  ASSERT_EQ(messages.size(), 2);
  EXPECT_EQ(messages[0].value(u"shape"_s), QJsonValue(u"zoom-out"_s));
  EXPECT_EQ(messages[1], (JsonObject{{u"type"_s, u"ack"_s}, {u"req"_s, req}}));
}

TEST_F(HostCursorTest, ignoresATestWithoutAShape) {
  connectViewer();
  say({{u"type"_s, u"test_cursor"_s}, {u"req"_s, 1}}, "control"_L1);
  say({{u"type"_s, u"test_cursor"_s}, {u"shape"_s, true}, {u"req"_s, 1}}, "control"_L1);
  EXPECT_TRUE(received("control"_L1).isEmpty());
}

TEST_F(HostCursorTest, logsWhenTheEnvironmentSaysSo) {
  variables_["CURSOR_DEBUG"] = u"1"_s;
  connectViewer();
  say({{u"type"_s, u"test_cursor"_s}, {u"shape"_s, u"grab"_s}});
  EXPECT_EQ(logged(), QStringList{u"[cursor] Test cursor shape requested: grab"_s});
}

}  // namespace
}  // namespace vantora
