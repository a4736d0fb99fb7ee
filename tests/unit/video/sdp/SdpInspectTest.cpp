#include <gtest/gtest.h>

#include "main/video/sdp/SdpInspect.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

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

TEST(DtlsFingerprint, isEmptyWithoutACompleteLine) {
  EXPECT_EQ(dtlsFingerprint(u""), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"a=fingerprint:"), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"a=fingerprint:sha-256\r\n"), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"xa=fingerprint:sha-256 AB"), std::nullopt);
  EXPECT_EQ(dtlsFingerprint(u"a=fingerprint:sha-256 \na=fingerprint:sha-1 AB"), u"sha-1 AB"_s);
}

}  // namespace
}  // namespace vantora
