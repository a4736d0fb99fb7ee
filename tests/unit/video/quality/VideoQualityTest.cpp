#include <limits>

#include "main/video/quality/VideoQuality.h"
#include "tests/unit/video/quality/QualityFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class VideoQualityTest : public QualityFixture {
 protected:
  // Another synthetic source has the track, with the preferences of the previous one, and a new offer was made.
  void expectFreshSynthetic(int width, int height, int fps) {
    const fakes::FakeSource& fresh = sources_.synthetic();
    EXPECT_EQ((VideoTarget{fresh.width, fresh.height, fresh.fps, 0}), (VideoTarget{width, height, fps, 0}));
    EXPECT_TRUE(fresh.started);
    EXPECT_EQ(sources_.synthetics.size(), 2U);
    EXPECT_TRUE(sources_.synthetics.front()->stopped);
    EXPECT_EQ(sender().degradation, DegradationPreference::maintainFramerate);
    EXPECT_EQ(sender().contentHint, u"motion"_s);
    EXPECT_TRUE(journal_.holds({u"sender: track=synthetic 2"_s, u"offer"_s}));
    EXPECT_TRUE(journal_.holds({u"changed"_s}));
  }
};

constexpr qint64 kMin = std::numeric_limits<qint64>::min();
constexpr qint64 kMax = std::numeric_limits<qint64>::max();

TEST_F(VideoQualityTest, startsWithTheDefaults) {
  EXPECT_EQ(quality_.currentQualityPreset(), u"auto"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 30, 3000}));
}

TEST_F(VideoQualityTest, startsWithTheConfiguredBitRate) {
  const VideoQuality quality(environment(), displays_, sharing_, {.lastMaxBitrateKbps = 800},
                             {.makeOffer = [] {}, .changed = [] {}});
  EXPECT_EQ(quality.lastTarget(), (VideoTarget{1280, 720, 30, 800}));
}

TEST_F(VideoQualityTest, appliesAPresetToTheSyntheticSource) {
  journal_.take();
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_EQ(logged(),
            (QStringList{
                u"log: [quality] degradationPreference=maintain-framerate"_s, u"log: [quality] contentHint=motion"_s,
                u"log: [quality] changed → 1920x1080@60 kbps=6000 preset=high"_s,
                u"log: [quality] degradationPreference=maintain-framerate"_s, u"log: [quality] contentHint=motion"_s}));
  EXPECT_TRUE(journal_.holds({u"sender: encodings bps=6000000 fps=60 scale=1"_s}));
  expectFreshSynthetic(1920, 1080, 60);
  EXPECT_EQ(quality_.currentQualityPreset(), u"high"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1920, 1080, 60, 6000}));
}

TEST_F(VideoQualityTest, appliesAPresetToTheScreenWithoutRenegotiating) {
  share();
  quality_.applyQualityPreset(u"low"_s);
  EXPECT_EQ(logged(), (QStringList{u"log: [quality] degradationPreference=maintain-framerate"_s,
                                   u"log: [quality] contentHint=motion"_s,
                                   u"log: [quality] changed → 960x540@30 kbps=1200 preset=low"_s}));
  EXPECT_EQ(journal_.with("sender: "_L1), (QStringList{u"sender: encodings bps=1200000 fps=30 scale=1"_s,
                                                       u"sender: degradation=1"_s, u"sender: hint=motion"_s}));
  EXPECT_EQ(journal_.with("screen"_L1), QStringList{u"screen 1: reconfigure 960x540@30"_s});
  EXPECT_TRUE(journal_.holds({u"changed"_s}));
  EXPECT_FALSE(journal_.holds({u"offer"_s}));
}

TEST_F(VideoQualityTest, keepsTheResolutionOfTheStablePreset) {
  variables_ = {{"CONTENT_HINT", u"motion"_s}};
  journal_.take();
  quality_.applyQualityPreset(u"low_stable"_s);
  EXPECT_EQ(sender().degradation, DegradationPreference::maintainResolution);
  EXPECT_EQ(sender().contentHint, u"detail"_s);
  EXPECT_EQ(logged().first(2), (QStringList{u"log: [quality] degradationPreference=maintain-resolution"_s,
                                            u"log: [quality] contentHint=detail"_s}));
  quality_.applyQualityPreset(u"low"_s);
  EXPECT_EQ(sender().degradation, DegradationPreference::maintainFramerate);
  EXPECT_EQ(sender().contentHint, u"motion"_s);
}

TEST_F(VideoQualityTest, takesTheContentHintFromTheEnvironmentAtEveryCall) {
  variables_ = {{"CONTENT_HINT", u"Detail"_s}};
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_EQ(sender().contentHint, u"detail"_s);
  variables_ = {{"CONTENT_HINT", u"sharp"_s}};
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_EQ(sender().contentHint, u"motion"_s);
}

TEST_F(VideoQualityTest, setsTheVideoCodecForGamingOnly) {
  quality_.applyQualityPreset(u"ultra"_s);
  EXPECT_EQ(quality_.preferredCodecName(), std::nullopt);
  quality_.applyQualityPreset(u"gaming"_s);
  EXPECT_EQ(quality_.preferredCodecName(), u"vp8"_s);
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_EQ(quality_.preferredCodecName(), u"vp8"_s);
}

TEST_F(VideoQualityTest, resolvesAutoByTheFirstDisplay) {
  displays_.set({{.bounds = {0, 0, 2560, 1440}}, {.bounds = {0, 0, 100, 100}}});
  quality_.applyQualityPreset(u"auto"_s);
  EXPECT_EQ(quality_.currentQualityPreset(), u"ultra"_s);
  EXPECT_TRUE(logged().contains(u"log: [quality] changed → 2560x1440@60 kbps=12000 preset=ultra"_s));
  displays_.set({});
  quality_.applyQualityPreset(u"auto"_s);
  EXPECT_EQ(quality_.currentQualityPreset(), u"high"_s);
}

TEST_F(VideoQualityTest, measuresTheFirstDisplayInPoints) {
  displays_.set({{.bounds = {0, 0, 2880, 1800}, .frameInPoints = QRectF(0, 0, 1440, 900)}});
  quality_.applyQualityPreset(u"auto"_s);
  EXPECT_EQ(quality_.currentQualityPreset(), u"medium"_s);
}

TEST_F(VideoQualityTest, keepsAnUnknownNameWithMediumFigures) {
  quality_.applyQualityPreset(u"High"_s);
  EXPECT_EQ(quality_.currentQualityPreset(), u"High"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 30, 3000}));
}

TEST_F(VideoQualityTest, followsTheSharedDisplaysAspectRatio) {
  sharing_.selectDisplay(1);
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_EQ(quality_.lastTarget().width, 1920) << "not while the synthetic source is in use";
  share();
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1648, 1080, 60, 6000}));
  sharing_.selectDisplay(99);  // The last display is used instead of a missing one.
  quality_.applyQualityPreset(u"low"_s);
  EXPECT_EQ(quality_.lastTarget().width, 816);
}

TEST_F(VideoQualityTest, followsADisplayThatChangesItsSize) {
  share();
  quality_.applyQualityPreset(u"high"_s);
  journal_.take();
  displays_.set({{.bounds = {0, 0, 1280, 1024}}});
  sources_.screen().events.resized();
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1344, 1080, 60, 6000}));
  EXPECT_EQ(logged(), QStringList{u"log: [quality] changed → 1344x1080@60 kbps=6000 preset=high"_s});
  EXPECT_EQ(journal_.with("screen"_L1), QStringList{u"screen 1: reconfigure 1344x1080@60"_s});
  EXPECT_TRUE(journal_.holds({u"changed"_s}));
  journal_.take();
  sources_.screen().events.resized();
  EXPECT_TRUE(journal_.take().isEmpty()) << "nothing to change";
}

TEST_F(VideoQualityTest, sendsADisplayThatChangesItsSizeNatively) {
  share();
  quality_.applyQualityPreset(u"native"_s);
  journal_.take();
  displays_.set({{.bounds = {0, 0, 1280, 800}}});
  sources_.screen().events.resized();
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 800, 60, 6144}));
  EXPECT_EQ(journal_.with("sender: "_L1), QStringList{u"sender: encodings bps=6144000 fps=60"_s});
}

TEST_F(VideoQualityTest, takesTheNativeRateWhenTheDisplayChangesItsSize) {
  quality_.applyQualityPreset(u"native"_s);  // With the synthetic source: 30 frames per second.
  share();
  displays_.set({{.bounds = {0, 0, 1280, 800}}});
  sources_.screen().events.resized();
  EXPECT_EQ(quality_.lastTarget().fps, 60);
  EXPECT_EQ(sender().maxFramerate, 60);
}

TEST_F(VideoQualityTest, keepsWhatWasAskedForWhenTheDisplayChangesItsSize) {
  share();
  quality_.applyQualityPreset(u"native"_s);
  quality_.applyVideoParams(900, 10, {}, {});
  displays_.set({{.bounds = {0, 0, 1280, 800}}});
  sources_.screen().events.resized();
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 800, 10, 900}));
  quality_.applyVideoParams({}, {}, 640, 480);
  displays_.set({{.bounds = {0, 0, 1920, 1080}}});
  sources_.screen().events.resized();
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{640, 480, 10, 900}));
}

TEST_F(VideoQualityTest, leavesTheSizeOfTheEnvironmentWhenTheDisplayChangesIts) {
  share();
  displays_.set({{.bounds = {0, 0, 1280, 800}}});
  sources_.screen().events.resized();
  EXPECT_TRUE(journal_.take().isEmpty());
}

TEST_F(VideoQualityTest, keepsThePresetsWidthWithoutAUsableDisplay) {
  share();
  displays_.set({});
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_EQ(quality_.lastTarget().width, 1920);
  displays_.set({{.bounds = {0, 0, 1000, 0}}});
  quality_.applyQualityPreset(u"low"_s);
  EXPECT_EQ(quality_.lastTarget().width, 960);
}

TEST_F(VideoQualityTest, boundsTheWidthOnAnAbsurdDisplay) {
  share();
  displays_.set({{.bounds = {0, 0, 1'000'000, 10}}});
  for (const QString& preset : {u"max"_s, u"native"_s}) {
    quality_.applyQualityPreset(preset);
    EXPECT_LE(quality_.lastTarget().width, kMaxWidth);
    EXPECT_GE(quality_.lastTarget().width, kMinSide);
  }
}

TEST_F(VideoQualityTest, sendsTheSharedDisplayNatively) {
  displays_.set({{.bounds = {0, 0, 1280, 800}}, {.bounds = {0, 0, 5120, 2880}}});
  share();
  quality_.applyQualityPreset(u"native"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 800, 60, 6144}));
  EXPECT_EQ(logged().first(), u"log: [quality] native bucket → 1280x800@60 kbps≈6144"_s);
  journal_.take();
  sharing_.selectDisplay(1);
  quality_.applyQualityPreset(u"native"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{3840, 2160, 60, 40000}));
  EXPECT_EQ(logged().first(), u"log: [quality] native bucket → 3840x2160@60 kbps≈40000"_s);
}

TEST_F(VideoQualityTest, fallsBackToMediumForNativeWithoutACapturedDisplay) {
  journal_.take();
  quality_.applyQualityPreset(u"native"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 30, 3000}));
  EXPECT_EQ(quality_.currentQualityPreset(), u"native"_s);
  share();
  displays_.set({});
  quality_.applyQualityPreset(u"native"_s);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 30, 3000}));
  EXPECT_FALSE(logged().join(u'\n').contains(u"native bucket"));
}

TEST_F(VideoQualityTest, saysNothingWhenTheSamePresetIsAppliedAgain) {
  quality_.applyQualityPreset(u"high"_s);
  journal_.take();
  quality_.applyQualityPreset(u"high"_s);
  EXPECT_FALSE(logged().join(u'\n').contains(u"changed"));
  EXPECT_FALSE(journal_.entries().contains(u"changed"_s));
}

TEST_F(VideoQualityTest, saysThatTheNameChangedWhenTheFiguresAreTheSame) {
  quality_.applyQualityPreset(u"medium"_s);
  journal_.take();
  quality_.applyQualityPreset(u"med"_s);
  EXPECT_TRUE(logged().contains(u"log: [quality] changed → 1280x720@30 kbps=3000 preset=med"_s));
}

TEST_F(VideoQualityTest, offersWithoutASenderToo) {
  sharing_.detachSender();
  journal_.take();
  quality_.applyQualityPreset(u"low"_s);
  EXPECT_EQ(journal_.with("offer"_L1), QStringList{u"offer"_s});
  EXPECT_TRUE(journal_.with("sender"_L1).isEmpty());
  EXPECT_EQ(quality_.lastTarget().kbps, 1200);
}

TEST_F(VideoQualityTest, logsNothingThatTheLibraryDoesNotSupport) {
  sender().supportsDegradation = false;
  sender().supportsContentHint = false;
  journal_.take();
  quality_.applyQualityPreset(u"low"_s);
  EXPECT_EQ(logged(), QStringList{u"log: [quality] changed → 960x540@30 kbps=1200 preset=low"_s});
}

TEST_F(VideoQualityTest, mapsThePlainOperationToTheFrameRateAndTheStrongOneToTheResolution) {
  journal_.take();
  VideoQuality::setMaintainResolution(*videoSender_);
  VideoQuality::setMaintainResolutionStrong(*videoSender_);
  EXPECT_EQ(journal_.with("sender: "_L1), (QStringList{u"sender: degradation=1"_s, u"sender: degradation=2"_s}));
  EXPECT_EQ(logged(), (QStringList{u"log: [quality] degradationPreference=maintain-framerate"_s,
                                   u"log: [quality] degradationPreference=maintain-resolution"_s}));
}

TEST_F(VideoQualityTest, takesEveryHintButDetailAsMotion) {
  VideoQuality::setContentHint(*videoSender_, u"detail"_s);
  EXPECT_EQ(sender().contentHint, u"detail"_s);
  for (const QString& hint : {u"Detail"_s, u""_s, u"text"_s}) {
    VideoQuality::setContentHint(*videoSender_, hint);
    EXPECT_EQ(sender().contentHint, u"motion"_s);
  }
}

// Explicit parameters

TEST_F(VideoQualityTest, appliesExplicitParameters) {
  journal_.take();
  quality_.applyVideoParams(2500, 25, 800, 600);
  EXPECT_EQ(
      logged(),
      (QStringList{u"log: [quality] degradationPreference=maintain-framerate"_s, u"log: [quality] contentHint=motion"_s,
                   u"log: [quality] degradationPreference=maintain-framerate"_s, u"log: [quality] contentHint=motion"_s,
                   u"log: [quality] changed → 800x600@25 kbps=2500 preset=auto"_s}));
  EXPECT_TRUE(journal_.holds({u"sender: encodings bps=2500000 fps=25"_s}));
  expectFreshSynthetic(800, 600, 25);
}

TEST_F(VideoQualityTest, derivesTheBitRateFromTheLastSize) {
  quality_.applyVideoParams({}, {}, 1920, 1080);
  quality_.applyVideoParams({}, 30, {}, {});
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1920, 1080, 30, 6220}));
  EXPECT_EQ(sender().maxBitrateBps, 6'220'000);
  EXPECT_EQ(sender().maxFramerate, 30);
}

TEST_F(VideoQualityTest, derivesTheBitRateFromTheGivenSize) {
  quality_.applyVideoParams({}, 60, 3840, 2160);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{3840, 2160, 60, 40000}));
  quality_.applyVideoParams({}, 10, 320, 240);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{320, 240, 10, 2000}));
}

TEST_F(VideoQualityTest, usesAGivenBitRateAsItIs) {
  quality_.applyVideoParams(100'000, {}, {}, {});
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 30, 100'000}));
  EXPECT_EQ(sender().maxBitrateBps, 100'000'000);
  quality_.applyVideoParams(1, 60, {}, {});
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 60, 1}));
  EXPECT_EQ(sender().maxBitrateBps, 1000);
}

TEST_F(VideoQualityTest, changesTheSizeAloneOnlyWhenBothSidesAreGiven) {
  journal_.take();
  quality_.applyVideoParams({}, {}, 640, {});
  quality_.applyVideoParams({}, {}, {}, 480);
  quality_.applyVideoParams({}, {}, {}, {});
  EXPECT_TRUE(journal_.take().isEmpty());
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1280, 720, 30, 3000}));
  quality_.applyVideoParams({}, {}, 640, 480);
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{640, 480, 30, 3000}));
}

TEST_F(VideoQualityTest, keepsThePresetsPreferencesForExplicitParameters) {
  quality_.applyQualityPreset(u"low_stable"_s);
  quality_.applyVideoParams(900, {}, {}, {});
  EXPECT_EQ(sender().degradation, DegradationPreference::maintainResolution);
  EXPECT_EQ(sender().contentHint, u"detail"_s);
  EXPECT_EQ(quality_.currentQualityPreset(), u"low_stable"_s);
}

TEST_F(VideoQualityTest, reconfiguresTheScreenForExplicitParametersWithoutRenegotiating) {
  share();
  quality_.applyVideoParams({}, 15, 800, 600);
  EXPECT_EQ(journal_.with("screen"_L1), QStringList{u"screen 1: reconfigure 800x600@15"_s});
  EXPECT_FALSE(journal_.entries().contains(u"offer"_s));
}

TEST_F(VideoQualityTest, boundsWhateverNumbersAViewerSends) {
  for (const qint64 number : {kMin, qint64{-1}, qint64{0}, qint64{4'294'967'296}, kMax}) {
    for (int which = 1; which < 16; ++which) {
      const auto pick = [&](int bit) { return which & bit ? std::optional(number) : std::nullopt; };
      quality_.applyVideoParams(pick(1), pick(2), pick(4), pick(8));
      const VideoTarget& target = quality_.lastTarget();
      EXPECT_TRUE(target.width >= kMinSide && target.width <= kMaxWidth) << number;
      EXPECT_TRUE(target.height >= kMinSide && target.height <= kMaxHeight) << number;
      EXPECT_TRUE(target.fps >= 1 && target.fps <= kMaxFps) << number;
      EXPECT_TRUE(target.kbps >= kMinKbps && target.kbps <= kMaxKbps) << number;
      EXPECT_GT(sender().maxBitrateBps.value_or(1), 0) << number;
    }
  }
}

TEST_F(VideoQualityTest, logsAChangeOfExplicitParametersOnlyWhenThereIsOne) {
  quality_.applyVideoParams(2500, 25, 800, 600);
  journal_.take();
  quality_.applyVideoParams(2500, 25, 800, 600);
  EXPECT_FALSE(logged().join(u'\n').contains(u"changed"));
}

}  // namespace
}  // namespace vantora
