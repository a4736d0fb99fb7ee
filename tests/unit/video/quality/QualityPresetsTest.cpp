#include <gtest/gtest.h>

#include "main/video/quality/QualityPresets.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(QualityPresetsTest, knowsThePresetTable) {
  EXPECT_EQ(presetTarget(u"low"_s), (VideoTarget{960, 540, 30, 1200}));
  EXPECT_EQ(presetTarget(u"low_stable"_s), (VideoTarget{1280, 720, 15, 1000}));
  EXPECT_EQ(presetTarget(u"medium"_s), (VideoTarget{1280, 720, 30, 3000}));
  EXPECT_EQ(presetTarget(u"med"_s), (VideoTarget{1280, 720, 30, 3000}));
  EXPECT_EQ(presetTarget(u"gaming"_s), (VideoTarget{1920, 1080, 60, 15000}));
  EXPECT_EQ(presetTarget(u"high"_s), (VideoTarget{1920, 1080, 60, 6000}));
  EXPECT_EQ(presetTarget(u"ultra"_s), (VideoTarget{2560, 1440, 60, 12000}));
  EXPECT_EQ(presetTarget(u"max"_s), (VideoTarget{3840, 2160, 60, 20000}));
}

TEST(QualityPresetsTest, takesOtherNamesAsMediumWithRegardToCase) {
  for (const QString& name : {u""_s, u"Low"_s, u"MAX"_s, u" high"_s, u"x"_s}) {
    EXPECT_EQ(presetTarget(name), (VideoTarget{1280, 720, 30, 3000})) << name.toStdString();
  }
}

TEST(QualityPresetsTest, choosesAPresetForTheHeightOfTheFirstDisplay) {
  EXPECT_EQ(pickAutoPreset(std::nullopt), u"high"_s);
  EXPECT_EQ(pickAutoPreset(2160), u"max"_s);
  EXPECT_EQ(pickAutoPreset(2159), u"ultra"_s);
  EXPECT_EQ(pickAutoPreset(1440), u"ultra"_s);
  EXPECT_EQ(pickAutoPreset(1439), u"high"_s);
  EXPECT_EQ(pickAutoPreset(1080), u"high"_s);
  EXPECT_EQ(pickAutoPreset(1079), u"medium"_s);
  EXPECT_EQ(pickAutoPreset(720), u"medium"_s);
  EXPECT_EQ(pickAutoPreset(719), u"low"_s);
  EXPECT_EQ(pickAutoPreset(0), u"low"_s);
}

TEST(QualityPresetsTest, sendsTheDisplayNativelyWithATenthOfABitPerPixel) {
  EXPECT_EQ(nativeTarget({1280, 800}), (VideoTarget{1280, 800, 60, 6144}));
  EXPECT_EQ(nativeTarget({1920, 1080}), (VideoTarget{1920, 1080, 60, 12441}));
  EXPECT_EQ(nativeTarget({1281, 801}), (VideoTarget{1280, 800, 60, 6144}));
}

TEST(QualityPresetsTest, keepsTheNativeBitRateWithinItsBounds) {
  EXPECT_EQ(nativeTarget({800, 600}).kbps, 6000);
  EXPECT_EQ(nativeTarget({3840, 2160}).kbps, 40000);
}

TEST(QualityPresetsTest, limitsNativeDisplaysToTheirHeightOf2160) {
  EXPECT_EQ(nativeTarget({5120, 2880}), (VideoTarget{3840, 2160, 60, 40000}));
  EXPECT_EQ(nativeTarget({3840, 2160}), (VideoTarget{3840, 2160, 60, 40000}));
  EXPECT_EQ(nativeTarget({3842, 1080}), (VideoTarget{7684, 2160, 60, 40000}));
  EXPECT_EQ(nativeTarget({1080, 3840}), (VideoTarget{608, 2160, 60, 7879}));
  // One line more than the limit is cut off by making the height even.
  EXPECT_EQ(nativeTarget({3840, 2161}), (VideoTarget{3840, 2160, 60, 40000}));
  EXPECT_EQ(nativeTarget({3840, 2162}).height, 2160);
}

TEST(QualityPresetsTest, followsTheDisplaysAspectRatioInStepsOfSixteen) {
  EXPECT_EQ(widthForDisplay({1512, 982}, 1080), 1648);
  EXPECT_EQ(widthForDisplay({1920, 1080}, 1080), 1920);
  EXPECT_EQ(widthForDisplay({1, 1000}, 540), 16);
  EXPECT_EQ(widthForDisplay({0, 1000}, 540), 16);
}

TEST(QualityPresetsTest, derivesTheBitRateFromSizeAndRate) {
  EXPECT_EQ(derivedKbps(1920, 1080, 30), 6220);
  EXPECT_EQ(derivedKbps(640, 360, 30), 2000);
  EXPECT_EQ(derivedKbps(7680, 4320, 120), 40000);
}

}  // namespace
}  // namespace vantora
