#include <gtest/gtest.h>

#include "main/session/settings/HostSettings.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QList<IceServer> read(std::initializer_list<std::pair<const char*, const char*>> values) {
  return readIceServers(Environment::of(values));
}

TEST(IceServers, areOnePublicStunServerByDefault) {
  const QList<IceServer> servers = read({});
  ASSERT_EQ(servers.size(), 1);
  EXPECT_TRUE(servers[0].url.startsWith("stun:"_L1));
  EXPECT_TRUE(servers[0].url.endsWith(":19302"_L1));
  EXPECT_EQ(servers[0].url.count(u':'), 2);
  EXPECT_EQ(servers[0].username, std::nullopt);
  EXPECT_EQ(servers[0].credential, std::nullopt);
}

TEST(IceServers, areExactlyTheListedOnesWithoutTheDefault) {
  const QList<IceServer> servers =
      read({{"ICE_URLS", " a , , b "}, {"ICE_USERNAME", "me"}, {"ICE_CREDENTIAL", "secret"}});
  EXPECT_EQ(servers, (QList<IceServer>{{u"a"_s, u"me"_s, u"secret"_s}, {u"b"_s, u"me"_s, u"secret"_s}}));
}

TEST(IceServers, keepAbsentCredentialsAbsentAndEmptyOnesEmpty) {
  EXPECT_EQ(read({{"ICE_URLS", "a"}}), (QList<IceServer>{{u"a"_s, std::nullopt, std::nullopt}}));
  EXPECT_EQ(read({{"ICE_URLS", "a"}, {"ICE_USERNAME", ""}}),
            (QList<IceServer>{{u"a"_s, QString(u""_s), std::nullopt}}));
}

TEST(IceServers, areEmptyWhenTheListIsEmpty) {
  for (const char* urls : {",", "", " ", " , ,\t"}) EXPECT_TRUE(read({{"ICE_URLS", urls}}).isEmpty()) << urls;
}

TEST(IceServers, leaveOutTurnWhenAListIsGiven) {
  const QList<IceServer> servers =
      read({{"ICE_URLS", "a"}, {"TURN_URL", "turn:t"}, {"TURN_USERNAME", "u"}, {"TURN_CREDENTIAL", "c"}});
  EXPECT_EQ(servers.size(), 1);
}

TEST(IceServers, addTheTurnServerBehindTheDefault) {
  const QList<IceServer> servers = read({{"TURN_URL", "turn:t"}, {"TURN_USERNAME", "u"}, {"TURN_CREDENTIAL", "c"}});
  ASSERT_EQ(servers.size(), 2);
  EXPECT_EQ(servers[1], (IceServer{u"turn:t"_s, u"u"_s, u"c"_s}));
}

TEST(IceServers, addNoTurnServerWhenOneOfItsThreeTextsIsAbsent) {
  EXPECT_EQ(read({{"TURN_URL", "turn:t"}, {"TURN_USERNAME", "u"}}).size(), 1);
  EXPECT_EQ(read({{"TURN_URL", "turn:t"}, {"TURN_CREDENTIAL", "c"}}).size(), 1);
  EXPECT_EQ(read({{"TURN_USERNAME", "u"}, {"TURN_CREDENTIAL", "c"}}).size(), 1);
}

TEST(IceServers, countEmptyTurnTextsAsPresent) {
  const QList<IceServer> servers = read({{"TURN_URL", ""}, {"TURN_USERNAME", ""}, {"TURN_CREDENTIAL", ""}});
  ASSERT_EQ(servers.size(), 2);
  EXPECT_EQ(servers[1], (IceServer{QString(u""_s), QString(u""_s), QString(u""_s)}));
}

}  // namespace
}  // namespace vantora
