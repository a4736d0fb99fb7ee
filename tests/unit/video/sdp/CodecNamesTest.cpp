#include <gtest/gtest.h>

#include "main/video/sdp/CodecNames.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(PreferredCodecSetting, takesTheKnownNamesInAnyCase) {
  EXPECT_EQ(parsePreferredCodec(u"h264"_s), CodecChoice{u"h264"_s});
  EXPECT_EQ(parsePreferredCodec(u"H264"_s), CodecChoice{u"h264"_s});
  EXPECT_EQ(parsePreferredCodec(u"vp8"_s), CodecChoice{u"vp8"_s});
  EXPECT_EQ(parsePreferredCodec(u"Vp9"_s), CodecChoice{u"vp9"_s});
  EXPECT_EQ(parsePreferredCodec(u"AV1"_s), CodecChoice{u"av1"_s});
}

TEST(PreferredCodecSetting, storesTheOldNameOfAv1AsAv1) {
  EXPECT_EQ(parsePreferredCodec(u"AV01"_s), CodecChoice{u"av1"_s});
}

TEST(PreferredCodecSetting, takesAutoForNoPreference) { EXPECT_EQ(parsePreferredCodec(u"Auto"_s), CodecChoice{}); }

TEST(PreferredCodecSetting, ignoresOtherTexts) {
  for (const QString& text : {u"hevc"_s, u"h265"_s, u" vp8"_s, u"vp8,vp9"_s, QString()}) {
    EXPECT_EQ(parsePreferredCodec(text), std::nullopt) << text.toStdString();
  }
}

TEST(CodecOfViewer, isTakenLikeTheSetting) {
  EXPECT_EQ(codecChoiceOfViewer(u"VP9"_s), CodecChoice{u"vp9"_s});
  EXPECT_EQ(codecChoiceOfViewer(u"av01"_s), CodecChoice{u"av1"_s});
}

TEST(CodecOfViewer, clearsThePreferenceForAutoAndForAnythingUnknown) {
  for (const QString& text : {u"auto"_s, u"hevc"_s, QString()}) EXPECT_EQ(codecChoiceOfViewer(text), CodecChoice{});
}

TEST(H264Profile, isLookedUpInAnyCase) {
  EXPECT_EQ(h264ProfileFor(u"Baseline31"_s), u"42e01f"_s);
  EXPECT_EQ(h264ProfileFor(u"MAIN31"_s), u"4d001f"_s);
  EXPECT_EQ(h264ProfileFor(u"high31"_s), u"64001f"_s);
}

TEST(H264Profile, ofLevel42IsTheOneOfLevel31) {
  EXPECT_EQ(h264ProfileFor(u"baseline42"_s), h264ProfileFor(u"baseline31"_s));
  EXPECT_EQ(h264ProfileFor(u"main42"_s), h264ProfileFor(u"main31"_s));
  EXPECT_EQ(h264ProfileFor(u"High42"_s), u"64001f"_s);
}

TEST(H264Profile, isTheTextItselfWhenUnknown) {
  EXPECT_EQ(h264ProfileFor(u"640C1F"_s), u"640C1F"_s);
  EXPECT_EQ(h264ProfileFor(QString()), QString());
}

}  // namespace
}  // namespace vantora
