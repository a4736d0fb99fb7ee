#include <gtest/gtest.h>

#include "main/session/ChatOutbox.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/session/HostFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QString textOf(const QString& said) { return chatSendMessage(said).value_or(JsonObject()).value(u"text"_s).toString(); }

TEST(ChatOutboxTest, saysWhatIsLeftBetweenTheBlanks) {
  EXPECT_EQ(chatSendMessage(u" \t\n hello  there\u2028\r\n\u00A0"_s),
            (JsonObject{{u"type"_s, u"chat_send"_s}, {u"text"_s, u"hello  there"_s}}));
}

TEST(ChatOutboxTest, saysNothingWhenOnlyBlanksAreLeft) {
  for (const QString& blank : {u""_s, u"   "_s, u"\n\t\u3000"_s}) EXPECT_FALSE(chatSendMessage(blank));
}

TEST(ChatOutboxTest, cutsALongMessageToItsFirst1400Characters) {
  const QString exactly(1400, u'a');
  EXPECT_EQ(textOf(exactly), exactly);
  EXPECT_EQ(textOf(exactly + u"b"_s), exactly);
  EXPECT_EQ(textOf(QString(2000, u'a')), exactly);
}

TEST(ChatOutboxTest, countsWhatAPersonSeesAsOneCharacterAsOne) {
  // A family of three, a flag, a letter with two accents: one character each, however many code points.
  for (const QString& one :
       {u"\U0001F468\u200D\U0001F469\u200D\U0001F467"_s, u"\U0001F1E9\U0001F1EA"_s, u"e\u0301\u0323"_s}) {
    EXPECT_EQ(textOf(one.repeated(1500)), one.repeated(1400));
  }
}

using HostChatTest = HostFixture;

TEST_F(HostChatTest, sendsWhatTheUserSaysToTheRoom) {
  start();
  peer().settle();
  sockets_.last().sent.clear();
  host_->sendChat(u"  hi \n"_s);
  host_->sendChat(u"   "_s);
  ASSERT_EQ(sockets_.last().sent.size(), 1);
  EXPECT_EQ(parseJsonObject(sockets_.last().sent.first().toUtf8()),
            (JsonObject{{u"type"_s, u"chat_send"_s}, {u"text"_s, u"hi"_s}}));
}

TEST_F(HostChatTest, doesNotKeepWhatIsSaidWithoutAConnectionForTheNextOne) {
  start();
  peer().settle();
  sockets_.last().failReceiving(u"gone"_s);
  host_->sendChat(u"hello?"_s);
  scheduler_.advance(std::chrono::minutes(1));
  ASSERT_GT(sockets_.connections.size(), 1U);
  EXPECT_TRUE(signalled().contains(u"join"_s));
  EXPECT_FALSE(signalled().contains(u"chat_send"_s));
}

}  // namespace
}  // namespace vantora
