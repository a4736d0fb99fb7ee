#include <gtest/gtest.h>

#include <QJsonArray>
#include <algorithm>

#include "companion/server/RoomRegistry.h"

namespace vantora::companion {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr qint64 kNow = 1'800'000'000'123;

QString joinText(const QString& room, const QString& role, const QString& name = {}) {
  JsonObject message{{"type"_L1, "join"_L1}, {"room"_L1, room}, {"role"_L1, role}};
  if (!name.isEmpty()) message["name"_L1] = name;
  return QString::fromUtf8(toJson(message));
}

std::vector<QString> textsFor(const Effects& effects, MemberId member) {
  std::vector<QString> texts;
  for (const auto& message : effects.messages) {
    if (message.to == member) texts.push_back(message.text);
  }
  return texts;
}

JsonObject onlyMessageFor(const Effects& effects, MemberId member) {
  const auto texts = textsFor(effects, member);
  EXPECT_EQ(texts.size(), 1u);
  return texts.empty() ? JsonObject{} : parseJsonObject(texts.front().toUtf8()).value_or(JsonObject{});
}

class RoomRegistryTest : public ::testing::Test {
 protected:
  Effects say(MemberId from, const QString& text) { return registry_.receive(from, text, {now_, kNow}); }
  Effects hostJoins(MemberId id, const QString& room = u"attic"_s) { return say(id, joinText(room, u"host"_s)); }
  Effects viewerJoins(MemberId id, const QString& room = u"attic"_s, const QString& name = {}) {
    return say(id, joinText(room, u"viewer"_s, name));
  }

  std::chrono::nanoseconds now_{0};
  RoomRegistry registry_{RoomRegistry::Limits{.rooms = 3, .viewersPerRoom = 4}};
};

TEST_F(RoomRegistryTest, relaysWhatTheHostSendsToTheViewersUnchanged) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  (void)viewerJoins(3);
  // Odd spacing, key order and unknown fields stay as they are.
  const QString offer = u"{ \"sdp\" : \"v=0\\r\\n\",\"extra\":[1,2], \"type\":\"offer\" }"_s;
  const Effects effects = say(1, offer);
  EXPECT_EQ(textsFor(effects, 2), std::vector<QString>{offer});
  EXPECT_EQ(textsFor(effects, 3), std::vector<QString>{offer});
  EXPECT_EQ(effects.messages.size(), 2u);
  EXPECT_EQ(say(1, u"{\"type\":\"ice\",\"candidate\":{}}"_s).messages.size(), 2u);
}

TEST_F(RoomRegistryTest, relaysWhatTheViewerSendsToTheHostUnchanged) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  for (const QString& text : {u"{\"type\":\"answer\",\"sdp\":\"v=0\"}"_s, u"{\"type\":\"ice\",\"candidate\":{ }}"_s,
                              u"{\"type\":\"renegotiate\"}"_s, u"{\"type\":\"client_prefs\",\"prefs\":{}}"_s}) {
    const Effects effects = say(2, text);
    ASSERT_EQ(effects.messages.size(), 1u);
    EXPECT_EQ(effects.messages[0].to, 1u);
    EXPECT_EQ(effects.messages[0].text, text);
  }
}

TEST_F(RoomRegistryTest, relaysNoTypeThatTheSenderHasNoBusinessSending) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  for (const QString& type : {u"offer"_s, u"peer_state"_s, u"superseded"_s, u"chat_broadcast"_s, u"join"_s, u"x"_s}) {
    EXPECT_TRUE(say(2, u"{\"type\":\"%1\",\"sdp\":\"\"}"_s.arg(type)).messages.empty()) << qPrintable(type);
  }
  for (const QString& type : {u"answer"_s, u"renegotiate"_s, u"client_prefs"_s, u"reaction_broadcast"_s, u"join"_s}) {
    EXPECT_TRUE(say(1, u"{\"type\":\"%1\",\"sdp\":\"\"}"_s.arg(type)).messages.empty()) << qPrintable(type);
  }
}

TEST_F(RoomRegistryTest, neverCrossesRooms) {
  (void)hostJoins(1, u"attic"_s);
  (void)viewerJoins(2, u"attic"_s);
  (void)hostJoins(3, u"cellar"_s);
  (void)viewerJoins(4, u"cellar"_s);
  for (const auto& [from, text] :
       std::vector<std::pair<MemberId, QString>>{{1, u"{\"type\":\"offer\"}"_s},
                                                 {2, u"{\"type\":\"answer\"}"_s},
                                                 {1, u"{\"type\":\"chat_send\",\"text\":\"hello\"}"_s},
                                                 {2, u"{\"type\":\"reaction_send\",\"reaction\":\"clap\"}"_s}}) {
    const Effects effects = say(from, text);
    EXPECT_FALSE(effects.messages.empty());
    EXPECT_TRUE(textsFor(effects, 3).empty());
    EXPECT_TRUE(textsFor(effects, 4).empty());
  }
  EXPECT_TRUE(textsFor(registry_.leave(1), 4).empty());
}

TEST_F(RoomRegistryTest, roomNamesAreTakenAsGiven) {
  (void)hostJoins(1, u"attic"_s);
  (void)viewerJoins(2, u"Attic"_s);
  EXPECT_TRUE(say(1, u"{\"type\":\"offer\"}"_s).messages.empty());
  EXPECT_EQ(registry_.rooms(), 2);
}

TEST_F(RoomRegistryTest, dropsGarbageAndGoesOn) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  for (const QString& text :
       {u""_s, u"{"_s, u"[]"_s, u"7"_s, u"{\"type\":7}"_s, u"{\"Type\":\"ice\"}"_s, QString(5000, u'[')}) {
    const Effects effects = say(2, text);
    EXPECT_TRUE(effects.messages.empty() && effects.closings.empty());
  }
  EXPECT_EQ(say(2, u"{\"type\":\"renegotiate\"}"_s).messages.size(), 1u);
}

TEST_F(RoomRegistryTest, dropsEverythingBeforeTheJoin) {
  (void)hostJoins(1);
  for (const QString& text : {u"{\"type\":\"renegotiate\"}"_s, u"{\"type\":\"chat_send\",\"text\":\"hi\"}"_s, u"{"_s}) {
    const Effects effects = say(2, text);
    EXPECT_TRUE(effects.messages.empty() && effects.closings.empty());
  }
  EXPECT_FALSE(registry_.isMember(2));
  (void)viewerJoins(2);
  EXPECT_TRUE(registry_.isMember(2));
}

TEST_F(RoomRegistryTest, dismissesAnUnusableJoin) {
  const QString longest(kMaxRoomName, u'r');
  for (const QString& text :
       {joinText(u""_s, u"viewer"_s), joinText(longest + u'r', u"viewer"_s), joinText(u"attic"_s, u"guest"_s),
        joinText(u"attic"_s, u""_s), u"{\"type\":\"join\",\"role\":\"host\"}"_s,
        u"{\"type\":\"join\",\"room\":5,\"role\":\"host\"}"_s}) {
    const Effects effects = say(9, text);
    ASSERT_EQ(effects.closings.size(), 1u) << qPrintable(text);
    EXPECT_EQ(effects.closings[0].member, 9u);
    EXPECT_EQ(effects.closings[0].why, Dismissal::badJoin);
    EXPECT_FALSE(registry_.isMember(9));
  }
  EXPECT_TRUE(viewerJoins(9, longest).closings.empty());
  EXPECT_TRUE(registry_.isMember(9));
}

TEST_F(RoomRegistryTest, aSecondJoinChangesNothing) {
  (void)hostJoins(1, u"attic"_s);
  (void)viewerJoins(2, u"attic"_s);
  EXPECT_TRUE(say(2, joinText(u"cellar"_s, u"host"_s)).messages.empty());
  EXPECT_EQ(registry_.rooms(), 1);
  EXPECT_EQ(say(2, u"{\"type\":\"renegotiate\"}"_s).messages.size(), 1u);
}

TEST_F(RoomRegistryTest, chatComesBackToTheWholeRoomSenderIncluded) {
  (void)hostJoins(1);
  (void)viewerJoins(2, u"attic"_s, u"Ada"_s);
  (void)viewerJoins(3);
  const Effects effects = say(2, u"{\"type\":\"chat_send\",\"text\":\"good <b>morning</b>\",\"from\":\"host\"}"_s);
  const JsonObject expected{
      {"type"_L1, "chat_broadcast"_L1}, {"from"_L1, "Ada"_L1}, {"text"_L1, "good <b>morning</b>"_L1}, {"ts"_L1, kNow}};
  for (const MemberId member : {1, 2, 3}) EXPECT_EQ(onlyMessageFor(effects, member), expected);
}

TEST_F(RoomRegistryTest, chatIsSignedByTheSendersRoleAndName) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  (void)viewerJoins(3, u"attic"_s, u" HOST "_s);
  (void)viewerJoins(4, u"attic"_s, u"\u202eAda\n\t Byron\u0007"_s);
  const QString hello = u"{\"type\":\"chat_send\",\"text\":\"hello\"}"_s;
  EXPECT_EQ(onlyMessageFor(say(1, hello), 2)["from"_L1], "host"_L1);
  EXPECT_EQ(onlyMessageFor(say(2, hello), 1)["from"_L1], "viewer"_L1);
  EXPECT_EQ(onlyMessageFor(say(3, hello), 1)["from"_L1], "viewer"_L1);
  EXPECT_EQ(onlyMessageFor(say(4, hello), 1)["from"_L1], "Ada Byron"_L1);
}

TEST_F(RoomRegistryTest, emptyChatIsDroppedAndLongChatIsCutBetweenCharacters) {
  (void)hostJoins(1);
  for (const QString& text : {u"{\"type\":\"chat_send\"}"_s, u"{\"type\":\"chat_send\",\"text\":\" \\n \"}"_s,
                              u"{\"type\":\"chat_send\",\"text\":5}"_s}) {
    EXPECT_TRUE(say(1, text).messages.empty());
  }
  const QString tooLong = QString(kMaxChatText - 1, u'a') + u"\U0001F600\U0001F600"_s;
  const Effects effects = say(1, QString::fromUtf8(toJson({{"type"_L1, "chat_send"_L1}, {"text"_L1, tooLong}})));
  EXPECT_EQ(onlyMessageFor(effects, 1)["text"_L1].toString(), QString(kMaxChatText - 1, u'a'));
}

TEST_F(RoomRegistryTest, reactionsComeBackToTheWholeRoom) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  const Effects effects = say(2, u"{\"type\":\"reaction_send\",\"reaction\":\"rocket\"}"_s);
  const JsonObject expected{
      {"type"_L1, "reaction_broadcast"_L1}, {"from"_L1, "viewer"_L1}, {"reaction"_L1, "rocket"_L1}};
  EXPECT_EQ(onlyMessageFor(effects, 1), expected);
  EXPECT_EQ(onlyMessageFor(effects, 2), expected);
  EXPECT_TRUE(say(2, u"{\"type\":\"reaction_send\"}"_s).messages.empty());
  const QString tooLong(kMaxReactionName + 1, u'x');
  EXPECT_TRUE(say(2, u"{\"type\":\"reaction_send\",\"reaction\":\"%1\"}"_s.arg(tooLong)).messages.empty());
}

TEST_F(RoomRegistryTest, viewersAreNotifiedOfComingsAndGoingsAndHostsAreNot) {
  const auto alone = [](bool host) {
    return JsonObject{{"type"_L1, "peer_state"_L1},
                      {"host"_L1, host},
                      {"viewers"_L1, 1},
                      {"names"_L1, QJsonArray{u"viewer"_s}},
                      {"you"_L1, 0}};
  };
  EXPECT_EQ(onlyMessageFor(viewerJoins(2), 2), alone(false));
  const JsonObject withHost = alone(true);
  const Effects hostCame = hostJoins(1);
  EXPECT_EQ(onlyMessageFor(hostCame, 2), withHost);
  EXPECT_TRUE(textsFor(hostCame, 1).empty());

  const Effects viewerCame = viewerJoins(3);
  EXPECT_TRUE(textsFor(viewerCame, 1).empty());
  EXPECT_EQ(onlyMessageFor(viewerCame, 3)["viewers"_L1], 2);
  const Effects viewerLeft = registry_.leave(3);
  EXPECT_TRUE(textsFor(viewerLeft, 1).empty());
  EXPECT_EQ(onlyMessageFor(viewerLeft, 2), withHost);
  EXPECT_EQ(onlyMessageFor(registry_.leave(1), 2)["host"_L1], false);
}

TEST_F(RoomRegistryTest, aNewerHostReplacesTheOlder) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  const Effects effects = hostJoins(5);
  ASSERT_EQ(effects.closings.size(), 1u);
  EXPECT_EQ(effects.closings[0].member, 1u);
  EXPECT_EQ(effects.closings[0].why, Dismissal::replaced);
  EXPECT_EQ(onlyMessageFor(effects, 2)["host"_L1], true);

  EXPECT_TRUE(say(1, u"{\"type\":\"offer\"}"_s).messages.empty());
  EXPECT_EQ(say(2, u"{\"type\":\"answer\"}"_s).messages.at(0).to, 5u);
  EXPECT_TRUE(registry_.leave(1).messages.empty()) << "the old connection's end says nothing about the new host";
  EXPECT_EQ(say(5, u"{\"type\":\"offer\"}"_s).messages.size(), 1u);
}

TEST_F(RoomRegistryTest, onlyTheNewestViewerReachesTheHost) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  const Effects effects = viewerJoins(3);
  const auto toOld = textsFor(effects, 2);
  ASSERT_EQ(toOld.size(), 2u);
  EXPECT_EQ(parseJsonObject(toOld[0].toUtf8()), (JsonObject{{"type"_L1, "superseded"_L1}, {"by"_L1, u"viewer"_s}}));

  for (const QString& type : {u"answer"_s, u"ice"_s, u"renegotiate"_s, u"client_prefs"_s}) {
    EXPECT_TRUE(say(2, u"{\"type\":\"%1\"}"_s.arg(type)).messages.empty()) << qPrintable(type);
    EXPECT_EQ(say(3, u"{\"type\":\"%1\"}"_s.arg(type)).messages.size(), 1u) << qPrintable(type);
  }
  EXPECT_FALSE(say(2, u"{\"type\":\"chat_send\",\"text\":\"still here\"}"_s).messages.empty());
}

TEST_F(RoomRegistryTest, aHostIsAskedForOffersAtABoundedRateWhoeverAsks) {
  const QString request = u"{\"type\":\"renegotiate\"}"_s;
  (void)hostJoins(1);
  (void)viewerJoins(2);
  const auto forwarded = [&](MemberId viewer, int times) {
    size_t count = 0;
    for (int i = 0; i < times; ++i) count += say(viewer, request).messages.size();
    return count;
  };
  EXPECT_EQ(forwarded(2, 100), 20u);
  (void)viewerJoins(3);
  EXPECT_EQ(forwarded(3, 100), 0u) << "a new connection brings no new allowance";
  EXPECT_EQ(say(3, u"{\"type\":\"answer\"}"_s).messages.size(), 1u) << "other messages pass";
  now_ += std::chrono::seconds(1);
  EXPECT_EQ(forwarded(2, 100), 0u) << "what reaches nobody";
  EXPECT_EQ(forwarded(3, 100), 4u) << "costs nothing";
}

TEST_F(RoomRegistryTest, aRequestWhileThereIsNoHostCostsNothing) {
  (void)viewerJoins(2);
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(say(2, u"{\"type\":\"renegotiate\"}"_s).messages.empty());
  (void)hostJoins(1);
  EXPECT_EQ(say(2, u"{\"type\":\"renegotiate\"}"_s).messages.size(), 1u);
}

TEST_F(RoomRegistryTest, viewersLearnWhoElseIsThereAndWhoIsActive) {
  (void)viewerJoins(2, u"attic"_s, u"Ada"_s);
  const Effects effects = viewerJoins(3, u"attic"_s, u"Ben"_s);
  const auto toAda = textsFor(effects, 2);
  ASSERT_EQ(toAda.size(), 2u);
  EXPECT_EQ(parseJsonObject(toAda[0].toUtf8())->value("by"_L1), u"Ben"_s);
  const JsonObject ada = *parseJsonObject(toAda[1].toUtf8());
  EXPECT_EQ(ada["names"_L1], (QJsonArray{u"Ada"_s, u"Ben"_s}));
  EXPECT_EQ(ada["you"_L1], 0);
  EXPECT_EQ(onlyMessageFor(effects, 3)["you"_L1], 1) << "the last one is active";
  EXPECT_EQ(onlyMessageFor(registry_.leave(3), 2)["names"_L1], QJsonArray{u"Ada"_s});
}

TEST_F(RoomRegistryTest, aSupersededViewerIsNotifiedOnce) {
  (void)viewerJoins(2);
  (void)viewerJoins(3);
  const auto texts = textsFor(viewerJoins(4), 2);
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(parseJsonObject(texts[0].toUtf8())->value("type"_L1), "peer_state"_L1);
}

TEST_F(RoomRegistryTest, limitsRoomsAndViewersButAlwaysLetsAHostIn) {
  for (MemberId id = 1; id <= 4; ++id) EXPECT_TRUE(viewerJoins(id).closings.empty());
  EXPECT_EQ(viewerJoins(5).closings.at(0).why, Dismissal::roomFull);
  EXPECT_FALSE(registry_.isMember(5));
  EXPECT_TRUE(hostJoins(6).closings.empty());
  EXPECT_EQ(say(4, u"{\"type\":\"answer\"}"_s).messages.size(), 1u) << "a refused viewer supersedes nobody";

  EXPECT_TRUE(hostJoins(7, u"b"_s).closings.empty());
  EXPECT_TRUE(hostJoins(8, u"c"_s).closings.empty());
  EXPECT_EQ(hostJoins(9, u"d"_s).closings.at(0).why, Dismissal::tooManyRooms);
  (void)registry_.leave(8);
  EXPECT_TRUE(hostJoins(10, u"d"_s).closings.empty());
}

TEST_F(RoomRegistryTest, anEmptyRoomIsForgotten) {
  (void)hostJoins(1);
  (void)viewerJoins(2);
  (void)registry_.leave(1);
  EXPECT_EQ(registry_.rooms(), 1);
  (void)registry_.leave(2);
  (void)registry_.leave(2);
  EXPECT_EQ(registry_.rooms(), 0);
}

TEST_F(RoomRegistryTest, aViewerBeforeTheHostLosesNothing) {
  (void)viewerJoins(2);
  EXPECT_TRUE(say(2, u"{\"type\":\"renegotiate\"}"_s).messages.empty());
  (void)hostJoins(1);
  EXPECT_EQ(textsFor(say(1, u"{\"type\":\"offer\"}"_s), 2).size(), 1u);
}

}  // namespace
}  // namespace vantora::companion
