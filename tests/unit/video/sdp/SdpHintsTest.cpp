#include <gtest/gtest.h>

#include "main/video/sdp/SdpTools.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(RebuildFmtp, replacesEarlierHintsInsteadOfDoublingThem) {
  EXPECT_EQ(SdpTools::rebuildFmtp(u"level-asymmetry-allowed=1; x-google-max-bitrate=900;packetization-mode=1"_s, 300,
                                  1200, 2500),
            u"level-asymmetry-allowed=1;packetization-mode=1;x-google-min-bitrate=300;x-google-start-bitrate=1200;"
            u"x-google-max-bitrate=2500"_s);
}

TEST(RebuildFmtp, dropsEveryGoogleHintInAnyCase) {
  EXPECT_EQ(SdpTools::rebuildFmtp(u"X-Google-Min-Bitrate=1;\tx-GOOGLE-anything;a=1"_s, 1, 2, 3),
            u"a=1;x-google-min-bitrate=1;x-google-start-bitrate=2;x-google-max-bitrate=3"_s);
}

TEST(RebuildFmtp, trimsBlanksAndTabsAndDropsEmptyPieces) {
  EXPECT_EQ(SdpTools::rebuildFmtp(u" a=1\t;;\tb = 2 ;"_s, 1, 2, 3),
            u"a=1;b = 2;x-google-min-bitrate=1;x-google-start-bitrate=2;x-google-max-bitrate=3"_s);
}

TEST(RebuildFmtp, keepsAPieceThatIsEmptyOnlyAfterTrimming) {
  EXPECT_EQ(SdpTools::rebuildFmtp(u"a=1; ;b=2"_s, 1, 2, 3),
            u"a=1;;b=2;x-google-min-bitrate=1;x-google-start-bitrate=2;x-google-max-bitrate=3"_s);
}

TEST(RebuildFmtp, keepsACarriageReturnWithItsParameter) {
  EXPECT_EQ(SdpTools::rebuildFmtp(u"a=1\r"_s, 1, 2, 3),
            u"a=1\r;x-google-min-bitrate=1;x-google-start-bitrate=2;x-google-max-bitrate=3"_s);
}

TEST(RebuildFmtp, givesOnlyTheHintsForNoParameters) {
  EXPECT_EQ(SdpTools::rebuildFmtp(QString(), -1, 0, 2000000),
            u"x-google-min-bitrate=-1;x-google-start-bitrate=0;x-google-max-bitrate=2000000"_s);
}

TEST(BitrateHintLines, reachOnlyTheFormatLinesOfTheirCodec) {
  const QString sdp = u"a=rtpmap:96 VP8/90000\na=fmtp:96 a=1\na=fmtp:97 b=1\na=rtpmap:97 H264/90000\na=fmtp:98 c=1\n"_s;
  EXPECT_EQ(SdpTools::setVP8BitrateHints(sdp, 1, 2, 3),
            u"a=rtpmap:96 VP8/90000\na=fmtp:96 a=1;x-google-min-bitrate=1;x-google-start-bitrate=2;"
            u"x-google-max-bitrate=3\na=fmtp:97 b=1\na=rtpmap:97 H264/90000\na=fmtp:98 c=1\n"_s);
  EXPECT_EQ(SdpTools::setH264BitrateHints(sdp, 1, 2, 3),
            u"a=rtpmap:96 VP8/90000\na=fmtp:96 a=1\na=fmtp:97 b=1;x-google-min-bitrate=1;x-google-start-bitrate=2;"
            u"x-google-max-bitrate=3\na=rtpmap:97 H264/90000\na=fmtp:98 c=1\n"_s);
}

TEST(BitrateHintLines, areNotMadeForAPayloadWithoutAFormatLine) {
  const QString sdp = u"m=video 9 X 96\na=rtpmap:96 VP8/90000\n"_s;
  EXPECT_EQ(SdpTools::setVP8BitrateHints(sdp, 1, 2, 3), sdp);
}

TEST(BitrateHintLines, passALineWithoutParameters) {
  const QString sdp = u"a=rtpmap:96 VP8/90000\na=fmtp:96\n"_s;
  EXPECT_EQ(SdpTools::setVP8BitrateHints(sdp, 1, 2, 3), sdp);
}

TEST(BitrateHintLines, stayTheSameWhenSetTwice) {
  const QString sdp = u"a=rtpmap:96 H264/90000\na=fmtp:96 a=1; b=2\n"_s;
  const QString once = SdpTools::setH264BitrateHints(sdp, 1, 2, 3);
  EXPECT_EQ(SdpTools::setH264BitrateHints(once, 1, 2, 3), once);
}

TEST(BitrateHintLines, keepCarriageReturnsOfOtherLines) {
  EXPECT_EQ(SdpTools::setVP8BitrateHints(u"v=0\r\na=rtpmap:96 VP8/90000\r\na=fmtp:96 a=1\r\nb\r\n"_s, 1, 2, 3),
            u"v=0\r\na=rtpmap:96 VP8/90000\r\na=fmtp:96 a=1\r;x-google-min-bitrate=1;x-google-start-bitrate=2;"
            u"x-google-max-bitrate=3\nb\r\n"_s);
}

TEST(SdpTexts, ofAnyKindPassUnharmed) {
  for (const QString& text : {QString(), u"\n"_s, u"\n\n\n"_s, u"a=fmtp:"_s, u"a=rtpmap: "_s, u"m=video"_s, u"\r"_s}) {
    EXPECT_EQ(SdpTools::preferCodec(text, u"vp8"_s), text);
    EXPECT_EQ(SdpTools::preferH264(text), text);
    EXPECT_EQ(SdpTools::rewriteH264Profile(text, u"42e01f"_s), text);
    EXPECT_EQ(SdpTools::setH264BitrateHints(text, 1, 2, 3), text);
    EXPECT_EQ(SdpTools::setVP8BitrateHints(text, 1, 2, 3), text);
  }
}

}  // namespace
}  // namespace vantora
