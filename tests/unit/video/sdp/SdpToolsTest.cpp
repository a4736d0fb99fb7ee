#include <gtest/gtest.h>

#include "main/video/sdp/SdpTools.h"
#include "tests/fakes/RecordedLog.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QString offer(const QString& mediaLine, const QString& lineEnd = u"\n"_s) {
  const QStringList lines{u"v=0"_s,
                          mediaLine,
                          u"a=rtpmap:96 H264/90000"_s,
                          u"a=rtpmap:97 VP9/90000"_s,
                          u"a=rtpmap:98 VP8/90000"_s,
                          u"a=rtpmap:99 vp8/90000"_s,
                          QString()};
  return lines.join(lineEnd);
}

TEST(PreferCodec, movesAllPayloadsOfTheCodecToTheFrontInTheirOrder) {
  fakes::RecordedLog log;
  const QString sdp = SdpTools::preferCodec(offer(u"m=video 9 UDP/TLS/RTP/SAVPF 96 97 98 99"_s), u"VP8"_s);
  EXPECT_EQ(sdp, offer(u"m=video 9 UDP/TLS/RTP/SAVPF 98 99 96 97"_s));
  EXPECT_EQ(log.lines(), QStringList{u"[sdp] prefer codec=vp8 payloads: 98,99"_s});
}

TEST(PreferCodec, keepsTheOrderInsideBothGroups) {
  const QString sdp = SdpTools::preferCodec(offer(u"m=video 9 UDP/TLS/RTP/SAVPF 99 97 98 96"_s), u"vp8"_s);
  EXPECT_EQ(sdp, offer(u"m=video 9 UDP/TLS/RTP/SAVPF 99 98 97 96"_s));
}

TEST(PreferCodec, changesAndLogsNothingWithoutAPayloadOfTheCodec) {
  fakes::RecordedLog log;
  // The double blank shows that the line is not rebuilt.
  const QString sdp = offer(u"m=video 9  UDP/TLS/RTP/SAVPF 96 97"_s);
  EXPECT_EQ(SdpTools::preferCodec(sdp, u"av1"_s), sdp);
  EXPECT_EQ(SdpTools::preferCodec(sdp, u"vp8"_s), sdp);
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST(PreferCodec, changesNothingWithoutAVideoSection) {
  fakes::RecordedLog log;
  const QString sdp = offer(u"m=audio 9 UDP/TLS/RTP/SAVPF 96 97 98 99"_s);
  EXPECT_EQ(SdpTools::preferCodec(sdp, u"vp8"_s), sdp);
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST(PreferCodec, rewritesOnlyTheFirstVideoSection) {
  const QString second = u"\nm=video 9 X 96 98\n"_s;
  const QString sdp = SdpTools::preferCodec(offer(u"m=video 9 X 96 98"_s) + second, u"vp8"_s);
  EXPECT_EQ(sdp, offer(u"m=video 9 X 98 96"_s) + second);
}

TEST(PreferCodec, dropsEmptyPiecesOfTheLineItRebuilds) {
  EXPECT_EQ(SdpTools::preferCodec(offer(u"m=video  9 X 96   98 "_s), u"vp8"_s), offer(u"m=video 9 X 98 96"_s));
}

TEST(PreferCodec, takesTheFirstThreePiecesForTheHeadWhateverTheyAre) {
  // "98" is in the place of the protocol.
  EXPECT_EQ(SdpTools::preferCodec(offer(u"m=video 9 98 96 98"_s), u"vp8"_s), offer(u"m=video 9 98 98 96"_s));
  const QString shortLine = offer(u"m=video 98"_s);
  EXPECT_EQ(SdpTools::preferCodec(shortLine, u"vp8"_s), shortLine);
}

TEST(PreferCodec, leavesTheLastPayloadOfACarriageReturnLineWhereItStands) {
  fakes::RecordedLog log;
  const QString crlf = u"\r\n"_s;
  const QString sdp = SdpTools::preferCodec(offer(u"m=video 9 UDP/TLS/RTP/SAVPF 96 97 98 99"_s, crlf), u"vp8"_s);
  EXPECT_EQ(sdp, offer(u"m=video 9 UDP/TLS/RTP/SAVPF 98 96 97 99"_s, crlf));
  EXPECT_EQ(log.lines(), QStringList{u"[sdp] prefer codec=vp8 payloads: 98"_s});

  const QString onlyLast = offer(u"m=video 9 UDP/TLS/RTP/SAVPF 96 97 98"_s, crlf);
  EXPECT_EQ(SdpTools::preferCodec(onlyLast, u"vp8"_s), onlyLast);
}

TEST(PreferCodec, believesTheLaterOfTwoMappingsOfOnePayload) {
  const QString sdp = u"m=video 9 X 96 97\na=rtpmap:97 VP8/90000\na=rtpmap:97 H264/90000"_s;
  EXPECT_EQ(SdpTools::preferCodec(sdp, u"vp8"_s), sdp);
  EXPECT_TRUE(SdpTools::preferCodec(sdp, u"h264"_s).startsWith("m=video 9 X 97 96\n"_L1));
}

TEST(PreferCodec, readsTheNameUpToTheFirstSlash) {
  const QString sdp = u"m=video 9 X 96 97 98\na=rtpmap:97 VP8/90000/2\na=rtpmap:98 VP8\na=rtpmap:99"_s;
  EXPECT_TRUE(SdpTools::preferCodec(sdp, u"vp8"_s).startsWith("m=video 9 X 97 98 96\n"_L1));
}

TEST(PreferH264, movesH264AndSaysSoInItsOwnWords) {
  fakes::RecordedLog log;
  const QString sdp = SdpTools::preferH264(offer(u"m=video 9 UDP/TLS/RTP/SAVPF 98 96 97"_s));
  EXPECT_EQ(sdp, offer(u"m=video 9 UDP/TLS/RTP/SAVPF 96 98 97"_s));
  EXPECT_EQ(log.lines(), QStringList{u"[sdp] prefer H.264 payloads: 96"_s});
}

TEST(PreferH264, changesAndLogsNothingWithoutH264) {
  fakes::RecordedLog log;
  const QString sdp = offer(u"m=video 9 UDP/TLS/RTP/SAVPF 98 97"_s);
  EXPECT_EQ(SdpTools::preferH264(sdp), sdp);
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST(RewriteH264Profile, writesTheProfileInLowerCase) {
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 packetization-mode=1;profile-level-id=64001F"_s, u"42E01F"_s),
            u"a=fmtp:96 packetization-mode=1;profile-level-id=42e01f"_s);
}

TEST(RewriteH264Profile, appendsTheProfileToALineThatHasNone) {
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 packetization-mode=1"_s, u"4d001f"_s),
            u"a=fmtp:96 packetization-mode=1;profile-level-id=4d001f"_s);
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 x=H264"_s, u"4d001f"_s),
            u"a=fmtp:96 x=H264;profile-level-id=4d001f"_s);
  // The name alone, without a value, is not a profile to replace.
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 profile-level-id"_s, u"4d001f"_s),
            u"a=fmtp:96 profile-level-id;profile-level-id=4d001f"_s);
}

TEST(RewriteH264Profile, leavesOtherLinesAlone) {
  const QString sdp =
      u"a=fmtp:98 profile-id=0\na=fmtp:99 h264=1\na=rtpmap:96 H264/90000\nx profile-level-id=1\n"
      u"a=framerate:30;packetization-mode=1\n"_s;
  EXPECT_EQ(SdpTools::rewriteH264Profile(sdp, u"4d001f"_s), sdp);
}

TEST(RewriteH264Profile, replacesTheWholePieceThatHoldsTheProfile) {
  // First piece: the prefix and the payload type go with it.
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 profile-level-id=42001f;packetization-mode=1"_s, u"64001f"_s),
            u"profile-level-id=64001f;packetization-mode=1"_s);
  // Last piece: so does a carriage return.
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 a=1;profile-level-id=42001f\r\nb"_s, u"64001f"_s),
            u"a=fmtp:96 a=1;profile-level-id=64001f\nb"_s);
}

TEST(RewriteH264Profile, dropsEmptyPiecesOnlyWhereItReplaces) {
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 a=1;;profile-level-id=1;;profile-level-id=2;"_s, u"64001f"_s),
            u"a=fmtp:96 a=1;profile-level-id=64001f;profile-level-id=64001f"_s);
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 packetization-mode=1;;b"_s, u"64001f"_s),
            u"a=fmtp:96 packetization-mode=1;;b;profile-level-id=64001f"_s);
}

TEST(RewriteH264Profile, appendsBehindACarriageReturn) {
  EXPECT_EQ(SdpTools::rewriteH264Profile(u"a=fmtp:96 packetization-mode=1\r\n"_s, u"64001f"_s),
            u"a=fmtp:96 packetization-mode=1\r;profile-level-id=64001f\n"_s);
}

}  // namespace
}  // namespace vantora
