#include <gtest/gtest.h>

#include "main/session/settings/HostSettings.h"
#include "tests/fakes/RecordedLog.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

RandomBelow always(quint32 number) {
  return [number](quint32 limit) {
    EXPECT_EQ(limit, 1'000'000U);
    return number;
  };
}

HostSettings read(std::initializer_list<std::pair<const char*, const char*>> values) {
  return readHostSettings(Environment::of(values), InfoDictionary(), always(7));
}

TEST(HostSettings, haveTheirDefaultsInAnEmptyEnvironment) {
  fakes::RecordedLog log;
  const HostSettings settings = read({});
  EXPECT_FALSE(settings.cursorDebug);
  EXPECT_FALSE(settings.pinLockedByEnv);
  EXPECT_EQ(settings.preferredCodecName, std::nullopt);
  EXPECT_EQ(settings.h264Profile, std::nullopt);
  EXPECT_EQ(settings.lastMaxBitrateKbps, 3000);
  EXPECT_EQ(settings.xGoogleMinKbpsOverride, std::nullopt);
  EXPECT_EQ(settings.xGoogleStartKbpsOverride, std::nullopt);
  EXPECT_EQ(settings.xGoogleMaxKbpsOverride, std::nullopt);
  EXPECT_FALSE(settings.autoShare);
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST(Pin, hasSixDigitsWithLeadingZeros) {
  const Environment empty = Environment::of({});
  EXPECT_EQ(readHostSettings(empty, {}, always(42)).controlPin, u"000042"_s);
  EXPECT_EQ(readHostSettings(empty, {}, always(0)).controlPin, u"000000"_s);
  EXPECT_EQ(readHostSettings(empty, {}, always(999'999)).controlPin, u"999999"_s);
}

TEST(Pin, isTheTokenWhenThereIsOne) {
  const HostSettings settings = read({{"CONTROL_TOKEN", "let me in"}});
  EXPECT_EQ(settings.controlPin, u"let me in"_s);
  EXPECT_TRUE(settings.pinLockedByEnv);
}

TEST(Pin, isRandomWhenTheTokenIsEmpty) {
  const HostSettings settings = read({{"CONTROL_TOKEN", ""}});
  EXPECT_EQ(settings.controlPin, u"000007"_s);
  EXPECT_FALSE(settings.pinLockedByEnv);
}

TEST(Pin, comesFromAGeneratorThatStaysBelowTheLimit) {
  const RandomBelow random = systemRandom();
  for (int i = 0; i < 1000; ++i) ASSERT_LT(random(3), 3U);
  EXPECT_EQ(random(1), 0U);
  // Twenty equal draws of a million have a chance of 10 to the power of -114.
  const quint32 first = random(1'000'000);
  bool differs = false;
  for (int i = 0; i < 20; ++i) differs = random(1'000'000) != first || differs;
  EXPECT_TRUE(differs);
}

TEST(PreferredCodecVariable, isStoredAndLogged) {
  fakes::RecordedLog log;
  EXPECT_EQ(read({{"PREFERRED_CODEC", "AV01"}}).preferredCodecName, u"av1"_s);
  EXPECT_EQ(read({{"PREFERRED_CODEC", "Auto"}}).preferredCodecName, std::nullopt);
  EXPECT_EQ(read({{"PREFERRED_CODEC", "VP9"}}).preferredCodecName, u"vp9"_s);
  EXPECT_EQ(log.lines(), (QStringList{u"[sdp] env preferred codec=av1"_s, u"[sdp] env preferred codec=auto"_s,
                                      u"[sdp] env preferred codec=vp9"_s}));
}

TEST(PreferredCodecVariable, isIgnoredSilentlyWhenUnknownOrEmpty) {
  fakes::RecordedLog log;
  EXPECT_EQ(read({{"PREFERRED_CODEC", "hevc"}}).preferredCodecName, std::nullopt);
  EXPECT_EQ(read({{"PREFERRED_CODEC", ""}}).preferredCodecName, std::nullopt);
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST(H264ProfileVariable, isLookedUpOrTakenAsGiven) {
  fakes::RecordedLog log;
  EXPECT_EQ(read({{"H264_PROFILE", "High42"}}).h264Profile, u"64001f"_s);
  EXPECT_EQ(read({{"H264_PROFILE", "640C1F"}}).h264Profile, u"640C1F"_s);
  EXPECT_EQ(log.lines(), (QStringList{u"[sdp] env h264 profile=64001f"_s, u"[sdp] env h264 profile=640C1F"_s}));
}

TEST(H264ProfileVariable, countsAsUnsetWhenEmpty) {
  fakes::RecordedLog log;
  EXPECT_EQ(read({{"H264_PROFILE", ""}}).h264Profile, std::nullopt);
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST(HostSettings, logTheCodecBeforeTheProfile) {
  fakes::RecordedLog log;
  (void)read({{"H264_PROFILE", "main31"}, {"PREFERRED_CODEC", "h264"}});
  EXPECT_EQ(log.lines(), (QStringList{u"[sdp] env preferred codec=h264"_s, u"[sdp] env h264 profile=4d001f"_s}));
}

TEST(BitRateVariables, takeDecimalIntegersOfAtLeastOne) {
  const HostSettings settings = read(
      {{"MAX_KBPS", "1"}, {"X_GOOGLE_MIN_KBPS", "2"}, {"X_GOOGLE_START_KBPS", "+3"}, {"X_GOOGLE_MAX_KBPS", "40000"}});
  EXPECT_EQ(settings.lastMaxBitrateKbps, 1);
  EXPECT_EQ(settings.xGoogleMinKbpsOverride, 2);
  EXPECT_EQ(settings.xGoogleStartKbpsOverride, 3);
  EXPECT_EQ(settings.xGoogleMaxKbpsOverride, 40000);
}

TEST(BitRateVariables, areIgnoredSilentlyOtherwise) {
  fakes::RecordedLog log;
  for (const char* text : {"0", "-5", "", "fast", "1.5", " 7", "0x10", "99999999999999999999"}) {
    const HostSettings settings = read(
        {{"MAX_KBPS", text}, {"X_GOOGLE_MIN_KBPS", text}, {"X_GOOGLE_START_KBPS", text}, {"X_GOOGLE_MAX_KBPS", text}});
    EXPECT_EQ(settings.lastMaxBitrateKbps, 3000) << text;
    EXPECT_EQ(settings.xGoogleMinKbpsOverride, std::nullopt) << text;
    EXPECT_EQ(settings.xGoogleStartKbpsOverride, std::nullopt) << text;
    EXPECT_EQ(settings.xGoogleMaxKbpsOverride, std::nullopt) << text;
  }
  EXPECT_TRUE(log.lines().isEmpty());
}

TEST(BitRateVariables, stayWithinWhatTheLibraryCanHold) {
  const HostSettings settings = read({{"MAX_KBPS", "9000000000"}, {"X_GOOGLE_MIN_KBPS", "2147483647"}});
  EXPECT_EQ(settings.lastMaxBitrateKbps, kHighestKbps);
  EXPECT_EQ(settings.xGoogleMinKbpsOverride, kHighestKbps);
  EXPECT_LE(qint64{kHighestKbps} * 1000, qint64{std::numeric_limits<int>::max()});
}

TEST(CursorDebug, isOnForExactlyOne) {
  EXPECT_TRUE(read({{"CURSOR_DEBUG", "1"}}).cursorDebug);
  for (const char* text : {"", "0", "true", "11", " 1"}) EXPECT_FALSE(read({{"CURSOR_DEBUG", text}}).cursorDebug);
}

TEST(AutoShare, isOnByTheInformationKeyOrTheVariable) {
  const InfoDictionary on({{u"VANTORA_SHARE_AUTO"_s, u"1"_s}});
  const InfoDictionary off({{u"VANTORA_SHARE_AUTO"_s, u"0"_s}});
  EXPECT_TRUE(readHostSettings(Environment::of({}), on, always(1)).autoShare);
  EXPECT_TRUE(readHostSettings(Environment::of({{"SHARE_AUTO", "1"}}), {}, always(1)).autoShare);
  // Each of them can switch it on; neither switches the other off.
  EXPECT_TRUE(readHostSettings(Environment::of({{"SHARE_AUTO", "0"}}), on, always(1)).autoShare);
  EXPECT_TRUE(readHostSettings(Environment::of({{"SHARE_AUTO", "1"}}), off, always(1)).autoShare);
  EXPECT_FALSE(readHostSettings(Environment::of({{"SHARE_AUTO", "true"}}), off, always(1)).autoShare);
}

}  // namespace
}  // namespace vantora
