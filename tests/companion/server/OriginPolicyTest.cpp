#include <gtest/gtest.h>

#include "companion/server/OriginPolicy.h"

namespace vantora::companion {
namespace {

using namespace Qt::Literals::StringLiterals;

HttpRequest from(const char* origin, const char* host) {
  return {.method = "GET", .target = "/", .upgradesToWebSocket = true, .host = host, .origin = origin};
}

TEST(OriginPolicyTest, admitsProgramsWhichNameNoOrigin) {
  EXPECT_TRUE(OriginPolicy({}, {}).admits({.method = "GET", .target = "/", .host = "anything", .origin = {}}));
}

TEST(OriginPolicyTest, admitsThePageOfTheServersOwnAddress) {
  const OriginPolicy policy({}, u"Workshop"_s);
  for (const char* host : {"127.0.0.1:8080", "localhost:8080", "room.localhost", "[::1]:8080", "10.1.2.3:80",
                           "workshop:8080", "WORKSHOP.local"}) {
    EXPECT_TRUE(policy.admits(from(QByteArray("http://").append(host).constData(), host))) << host;
    EXPECT_TRUE(policy.admits(from(QByteArray("https://").append(host).constData(), host))) << host;
  }
}

TEST(OriginPolicyTest, refusesPagesOfAnyOtherAddress) {
  const OriginPolicy policy({}, u"workshop"_s);
  for (const char* origin :
       {"http://evil.example", "http://127.0.0.1", "http://127.0.0.1:80801", "http://localhost:8080", "null", "",
        "http://", "file://", "ftp://127.0.0.1:8080", "127.0.0.1:8080", "http://127.0.0.1:8080, http://evil.example",
        "http://127.0.0.1:8080.evil.example"}) {
    EXPECT_FALSE(policy.admits(from(origin, "127.0.0.1:8080"))) << origin;
  }
  EXPECT_FALSE(policy.admits(from("http://127.0.0.1:8080", "")));
}

// A name that its owner lets point to this machine: the browser counts page and server as one.
TEST(OriginPolicyTest, refusesNamesThatAreNotItsOwn) {
  const OriginPolicy policy({}, u"workshop"_s);
  for (const char* host : {"evil.example:8080", "127.0.0.1.evil.example", "localhost.evil.example",
                           "workshop.evil.example", "[evil]:8080", "[", "notlocalhost"}) {
    EXPECT_FALSE(policy.admits(from(QByteArray("http://").append(host).constData(), host))) << host;
  }
  EXPECT_FALSE(OriginPolicy({}, {}).admits(from("http://.local", ".local")));
}

TEST(OriginPolicyTest, admitsTheOriginsThatWereNamedAndNoMore) {
  const OriginPolicy policy({"https://support.example"}, {});
  EXPECT_TRUE(policy.admits(from("https://support.example", "127.0.0.1:8080")));
  EXPECT_TRUE(policy.admits(from("https://Support.Example", "support.example")));
  EXPECT_FALSE(policy.admits(from("http://support.example", "support.example")));
  EXPECT_FALSE(policy.admits(from("https://support.example:8443", "support.example:8443")));
  EXPECT_FALSE(policy.admits(from("https://a.support.example", "127.0.0.1:8080")));
}

TEST(OriginPolicyTest, readsOriginsInTheSpellingOfBrowsers) {
  EXPECT_EQ(parseOrigin(u" HTTP://Name:80/ "_s), "http://name");
  EXPECT_EQ(parseOrigin(u"https://name:80"_s), "https://name:80");
  EXPECT_EQ(parseOrigin(u"http://[::1]:8080"_s), "http://[::1]:8080");
  EXPECT_EQ(parseOrigin(u"https://b\u00fccher.example"_s), "https://xn--bcher-kva.example");
  for (const QString& text : {u""_s, u"null"_s, u"name"_s, u"http://a/b"_s, u"http://a#b"_s, u"http://a b"_s}) {
    EXPECT_EQ(parseOrigin(text), std::nullopt) << qPrintable(text);
  }
}

}  // namespace
}  // namespace vantora::companion
