#include <gtest/gtest.h>

#include "main/rtc/NativeH264Profiles.h"
#include "tests/fakes/PrintQt.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

const QString kOffered =
    u"m=video 9 UDP/TLS/RTP/SAVPF 102 96\r\na=rtpmap:102 H264/90000\r\n"
    "a=fmtp:102 packetization-mode=1;profile-level-id=42001f\r\na=fmtp:96 x=1\r\n"_s;

TEST(NativeH264Profiles, replaceTheOnesThatWereWrittenIn) {
  QString rewritten = kOffered;
  rewritten.replace(u"42001f"_s, u"64001f"_s).replace(u"102 96\r"_s, u"96 102\r"_s);
  QString wanted = kOffered;
  wanted.replace(u"102 96\r"_s, u"96 102\r"_s);
  EXPECT_EQ(withNativeH264Profiles(kOffered, rewritten), wanted);
}

TEST(NativeH264Profiles, leaveOtherFormatsAsTheyWereRewritten) {
  QString rewritten = kOffered;
  rewritten.replace(u"x=1"_s, u"x=1;x-google-min-bitrate=5"_s);
  EXPECT_EQ(withNativeH264Profiles(kOffered, rewritten), rewritten);
}

TEST(NativeH264Profiles, leaveALineThatKeptItsProfile) {
  QString rewritten = kOffered;
  rewritten.replace(u"42001f"_s, u"42001f;x-google-min-bitrate=5"_s);
  EXPECT_EQ(withNativeH264Profiles(kOffered, rewritten), rewritten);
}

TEST(NativeH264Profiles, bringBackALineThatLostItsBeginning) {
  QString rewritten = kOffered;
  rewritten.replace(u"a=fmtp:102 packetization-mode=1;profile-level-id=42001f\r"_s, u"profile-level-id=64001f"_s);
  EXPECT_EQ(withNativeH264Profiles(kOffered, rewritten), kOffered);
}

TEST(NativeH264Profiles, leaveAnotherTextAlone) {
  EXPECT_EQ(withNativeH264Profiles(kOffered, u"v=0\r\n"_s), u"v=0\r\n"_s);
  EXPECT_EQ(withNativeH264Profiles(QString(), kOffered), kOffered);
}

}  // namespace
}  // namespace vantora
