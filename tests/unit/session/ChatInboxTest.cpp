#include <gtest/gtest.h>

#include "main/session/ChatInbox.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ChatInboxTest : public testing::Test {
 protected:
  ChatInboxTest() {
    scheduler_.setUnixBase(1'700'000'000'999'999'999ns);
    inbox_.setCallbacks(
        {.presentChat = [this](const QString& from, const QString& text,
                               qint64 ts) { events_.append(u"chat %1|%2|%3"_s.arg(from, text).arg(ts)); },
         .deliverHostNotification = [this](
                                        const QString& title,
                                        const QString& body) { events_.append(u"notify %1|%2"_s.arg(title, body)); }});
  }
  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  QStringList events_;
  ChatInbox inbox_{scheduler_};
};

TEST_F(ChatInboxTest, logsNotifiesAndShowsAChatLine) {
  inbox_.handleChatBroadcast({{u"from"_s, u"ann"_s}, {u"text"_s, u"Hello: ä"_s}, {u"ts"_s, 1234}});
  EXPECT_EQ(log_.lines(), QStringList{u"[chat] ann: Hello: ä @1234"_s});
  EXPECT_EQ(events_, (QStringList{u"notify Chat from ANN|Hello: ä"_s, u"chat ann|Hello: ä|1234"_s}));
}

TEST_F(ChatInboxTest, fillsMissingAndMistypedFieldsIn) {
  for (const JsonObject& message :
       {JsonObject{}, JsonObject{{u"from"_s, 5}, {u"text"_s, JsonObject{}}, {u"ts"_s, u"7"_s}},
        JsonObject{{u"ts"_s, 1.5}}}) {
    events_.clear();
    log_.clear();
    inbox_.handleChatBroadcast(message);
    EXPECT_EQ(log_.lines(), QStringList{u"[chat] ?:  @1700000000999"_s});
    EXPECT_EQ(events_, (QStringList{u"notify Chat from ?|"_s, u"chat ?||1700000000999"_s}));
  }
}

TEST_F(ChatInboxTest, mapsEveryReaction) {
  EXPECT_EQ(reactionText(u"thumbs_up"_s), u"\U0001F44D"_s);
  EXPECT_EQ(reactionText(u"clap"_s), u"\U0001F44F"_s);
  EXPECT_EQ(reactionText(u"check"_s), u"\u2705"_s);
  EXPECT_EQ(reactionText(u"question"_s), u"\u2753"_s);
  EXPECT_EQ(reactionText(u"coffee"_s), u"\u2615\uFE0F"_s);
  EXPECT_EQ(reactionText(u"rocket"_s), u"\U0001F680"_s);
  EXPECT_EQ(reactionText(u"heart"_s), u"\u2764\uFE0F"_s);
  for (const QString& other : {u""_s, u"Heart"_s, u"bell"_s}) EXPECT_EQ(reactionText(other), u"\U0001F514"_s);
}

TEST_F(ChatInboxTest, showsAReactionWithoutALogLine) {
  inbox_.handleReactionBroadcast({{u"from"_s, u"ann"_s}, {u"reaction"_s, u"rocket"_s}, {u"ts"_s, 1}});
  EXPECT_TRUE(log_.lines().isEmpty());
  EXPECT_EQ(events_, (QStringList{u"notify Reaction from ANN|\U0001F680"_s, u"chat ann|\U0001F680|1700000000999"_s}));
  events_.clear();
  inbox_.handleReactionBroadcast({});
  EXPECT_EQ(events_, (QStringList{u"notify Reaction from ?|\U0001F514"_s, u"chat ?|\U0001F514|1700000000999"_s}));
}

TEST_F(ChatInboxTest, onlyLogsWhenNothingCanShowIt) {
  inbox_.setCallbacks({});
  inbox_.handleChatBroadcast({{u"text"_s, u"x"_s}, {u"ts"_s, 1}});
  inbox_.handleReactionBroadcast({});
  EXPECT_EQ(log_.lines(), QStringList{u"[chat] ?: x @1"_s});
}

}  // namespace
}  // namespace vantora
