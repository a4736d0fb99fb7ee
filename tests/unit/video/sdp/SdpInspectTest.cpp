#include <gtest/gtest.h>

#include "main/video/sdp/SdpInspect.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(LooksLikeSdp, takesTextsThatBeginLikeOne) {
  EXPECT_TRUE(looksLikeSdp(u"v=0\r\no=- 1 2 IN IP4 127.0.0.1\r\n"));
  EXPECT_TRUE(looksLikeSdp(u"v=0\n"));
}

TEST(LooksLikeSdp, refusesOtherTexts) {
  EXPECT_FALSE(looksLikeSdp(u""));
  EXPECT_FALSE(looksLikeSdp(u"v=0"));
  EXPECT_FALSE(looksLikeSdp(u"v=01\n"));
  EXPECT_FALSE(looksLikeSdp(u" v=0\n"));
  EXPECT_FALSE(looksLikeSdp(u"{\"sdp\":1}"));
  EXPECT_FALSE(looksLikeSdp(u"v=0\no=\0\n"_s));
}

TEST(LooksLikeSdp, refusesAFloodOfText) {
  const QString head = u"v=0\n"_s;
  EXPECT_TRUE(looksLikeSdp(head + QString(kMaxSdpLength - head.size(), u'a')));
  EXPECT_FALSE(looksLikeSdp(head + QString(kMaxSdpLength - head.size() + 1, u'a')));
}

TEST(DtlsFingerprint, isTheFirstOne) {
  EXPECT_EQ(dtlsFingerprint(u"v=0\na=fingerprint:sha-256 AB:01\nm=video\na=fingerprint:sha-1 CD:02\n"),
            u"sha-256 AB:01"_s);
}

TEST(DtlsFingerprint, comparesEqualHoweverItIsWritten) {
  const auto expected = dtlsFingerprint(u"a=fingerprint:sha-256 AB:0C");
  ASSERT_TRUE(expected);
  EXPECT_EQ(dtlsFingerprint(u"a=fingerprint:SHA-256 ab:0c\r\n"), expected);
  EXPECT_EQ(dtlsFingerprint(u"x\na=fingerprint: sha-256\t ab:0C  \r\nb"), expected);
  EXPECT_EQ(dtlsFingerprint(u"x\na=fingerprint: sha-256   ab:0C  \r\nb"), expected);
}

TEST(DtlsFingerprint, isNoneWithoutACompleteLine) {
  EXPECT_EQ(dtlsFingerprint(u""), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"a=fingerprint:"), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"a=fingerprint:sha-256\r\n"), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"xa=fingerprint:sha-256 AB"), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"a=fingerprint:sha-256 \na=fingerprint:sha-1 AB"), u"sha-1 AB"_s);
}

}  // namespace
}  // namespace vantora
