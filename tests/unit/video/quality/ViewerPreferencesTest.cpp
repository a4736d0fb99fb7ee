// A viewer's preferences in its "codec" and "client_prefs" messages.
#include <QJsonArray>

#include "tests/unit/video/quality/QualityFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ViewerPreferencesTest : public QualityFixture {
 protected:
  void codec(const JsonObject& message) {
    journal_.take();
    quality_.handleCodec(message);
  }
  void prefs(const QJsonValue& value) {
    journal_.take();
    quality_.handleClientPrefs({{u"type"_s, u"client_prefs"_s}, {u"prefs"_s, value}});
  }
};

TEST_F(ViewerPreferencesTest, setsTheCodecAndOffersAgain) {
  codec({{u"codec"_s, u"VP9"_s}});
  EXPECT_EQ(quality_.preferredCodecName(), u"vp9"_s);
  EXPECT_EQ(journal_.take(), (QStringList{u"log: [sdp] set preferred codec=vp9"_s, u"offer"_s}));
}

TEST_F(ViewerPreferencesTest, knowsEveryCodecName) {
  const std::vector<std::pair<QString, QString>> names{
      {u"h264"_s, u"h264"_s}, {u"vp8"_s, u"vp8"_s}, {u"vp9"_s, u"vp9"_s}, {u"av1"_s, u"av1"_s}, {u"AV01"_s, u"av1"_s}};
  for (const auto& [given, stored] : names) {
    codec({{u"codec"_s, given}});
    EXPECT_EQ(quality_.preferredCodecName(), stored);
    EXPECT_EQ(logged(), QStringList{u"log: [sdp] set preferred codec="_s + stored});
  }
}

TEST_F(ViewerPreferencesTest, clearsTheCodecForAutoAndForUnknownNames) {
  for (const QString& name : {u"auto"_s, u"AUTO"_s, u"hevc"_s, u""_s}) {
    codec({{u"codec"_s, u"vp9"_s}});
    codec({{u"codec"_s, name}});
    EXPECT_EQ(quality_.preferredCodecName(), std::nullopt) << name.toStdString();
    EXPECT_EQ(journal_.take(), (QStringList{u"log: [sdp] set preferred codec=auto"_s, u"offer"_s}));
  }
}

TEST_F(ViewerPreferencesTest, setsTheProfileForTheNextOffer) {
  const std::vector<std::pair<QString, QString>> profiles{
      {u"baseline31"_s, u"42e01f"_s}, {u"main31"_s, u"4d001f"_s}, {u"high31"_s, u"64001f"_s},
      {u"baseline42"_s, u"42e01f"_s}, {u"Main42"_s, u"4d001f"_s}, {u"HIGH42"_s, u"64001f"_s},
      {u"64002A"_s, u"64002A"_s},     {u"Own"_s, u"Own"_s}};
  for (const auto& [given, stored] : profiles) {
    codec({{u"profile"_s, given}});
    EXPECT_EQ(quality_.h264Profile(), stored);
    EXPECT_EQ(journal_.take(), QStringList{u"log: [sdp] set h264 profile="_s + stored});
  }
}

TEST_F(ViewerPreferencesTest, showsAnEmptyProfileAsADash) {
  codec({{u"profile"_s, u""_s}});
  EXPECT_EQ(journal_.take(), QStringList{u"log: [sdp] set h264 profile=-"_s});
}

TEST_F(ViewerPreferencesTest, ignoresCodecFieldsOfTheWrongType) {
  codec({{u"codec"_s, 5}, {u"profile"_s, JsonObject{}}});
  EXPECT_TRUE(journal_.take().isEmpty());
}

TEST_F(ViewerPreferencesTest, appliesQualityAndRateOfTheClient) {
  prefs(JsonObject{{u"quality"_s, u"high"_s}, {u"fps"_s, 24}});
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1920, 1080, 24, 4976}));
  EXPECT_EQ(logged().last(), u"log: [prefs] applied from client: quality=high fps=24"_s);
}

TEST_F(ViewerPreferencesTest, resolvesAutoInTheClientsPreferences) {
  displays_.set({{.bounds = {0, 0, 2560, 1440}}});
  prefs(JsonObject{{u"quality"_s, u"auto"_s}});
  EXPECT_EQ(logged().last(), u"log: [prefs] applied from client: quality=ultra fps=60"_s);
}

TEST_F(ViewerPreferencesTest, tellsAChangeOfTheClientsQualityByItsFiguresAlone) {
  prefs(JsonObject{{u"quality"_s, u"medium"_s}});
  prefs(JsonObject{{u"quality"_s, u"of no name"_s}});  // It has the values of "medium".
  EXPECT_EQ(quality_.currentQualityPreset(), u"of no name"_s);
  EXPECT_TRUE(logged().filter(u"[quality] changed"_s).isEmpty());
  displays_.set({{.bounds = {0, 0, 1920, 1080}}});
  prefs(JsonObject{{u"quality"_s, u"high"_s}});
  prefs(JsonObject{{u"quality"_s, u"auto"_s}});
  EXPECT_EQ(logged().filter(u"[quality] changed"_s).size(), 1);
}

TEST_F(ViewerPreferencesTest, printsANameWithAPlaceholderAsItIs) {
  for (const QString& name : {u"%1"_s, u"%2"_s, u"%L1%3%99"_s}) {
    prefs(JsonObject{{u"quality"_s, name}, {u"fps"_s, 24}});
    EXPECT_EQ(logged().last(), u"log: [prefs] applied from client: quality="_s + name + u" fps=24"_s);
    EXPECT_TRUE(logged().filter(u"[quality] changed"_s).last().endsWith(u" preset="_s + name));
  }
}

TEST_F(ViewerPreferencesTest, keepsTheBeginningOfAVeryLongName) {
  prefs(JsonObject{{u"quality"_s, QString(250'000, u'q')}});
  EXPECT_EQ(quality_.currentQualityPreset(), QString(64, u'q'));
  quality_.applyQualityPreset(QString(250'000, u'r'));
  EXPECT_EQ(quality_.currentQualityPreset(), QString(64, u'r'));
}

TEST_F(ViewerPreferencesTest, changesTheRateAloneWithTheSizeKept) {
  prefs(JsonObject{{u"fps"_s, 60}});
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 60, 5529}));
  EXPECT_EQ(quality_.currentQualityPreset(), u"auto"_s);
}

TEST_F(ViewerPreferencesTest, takesARateOfThePreferencesLikeOneOfTheParameters) {
  for (const int fps : {1, 24, 120}) {
    quality_.applyQualityPreset(u"high"_s);
    prefs(JsonObject{{u"fps"_s, fps}});
    const VideoTarget byPreferences = quality_.lastTarget();
    const auto bps = sender().maxBitrateBps;
    quality_.applyQualityPreset(u"high"_s);
    quality_.applyVideoParams({}, fps, {}, {});
    EXPECT_EQ(quality_.lastTarget(), byPreferences);
    EXPECT_EQ(sender().maxBitrateBps, bps);
    EXPECT_EQ(byPreferences, (VideoTarget{1920, 1080, fps, derivedKbps(1920, 1080, fps)}));
  }
}

TEST_F(ViewerPreferencesTest, logsEmptyPreferencesWithoutAnEffect) {
  for (const JsonObject& empty : {JsonObject{}, JsonObject{{u"quality"_s, u""_s}},
                                  JsonObject{{u"quality"_s, 3}, {u"fps"_s, u"60"_s}}, JsonObject{{u"fps"_s, 29.5}}}) {
    prefs(empty);
    EXPECT_EQ(journal_.take(), QStringList{u"log: [prefs] applied from client: quality=auto fps=30"_s});
  }
}

TEST_F(ViewerPreferencesTest, ignoresAMessageWithoutAnObjectOfPreferences) {
  for (const QJsonValue& value : {QJsonValue(), QJsonValue(5), QJsonValue(u"high"_s), QJsonValue(QJsonArray{})}) {
    prefs(value);
    EXPECT_TRUE(journal_.take().isEmpty());
  }
  quality_.handleClientPrefs({});
  EXPECT_TRUE(journal_.take().isEmpty());
}

}  // namespace
}  // namespace vantora
