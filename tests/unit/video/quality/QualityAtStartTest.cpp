// What a viewer chooses while the local user is asked for the screen.
#include "tests/unit/video/quality/QualityFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using QualityAtStartTest = QualityFixture;

TEST_F(QualityAtStartTest, appliesToTheScreenWhatWasChosenWhileItStarted) {
  sharing_.startSharing();
  quality_.applyQualityPreset(u"low"_s);
  quality_.applyVideoParams({}, 20, {}, {});
  EXPECT_TRUE(journal_.with("screen 1: reconfigure"_L1).isEmpty());
  sources_.screen().finishStart();
  EXPECT_EQ(journal_.with("screen 1: reconfigure"_L1), QStringList{u"screen 1: reconfigure 960x540@20"_s});
  EXPECT_EQ(quality_.currentQualityPreset(), u"low"_s);
}

TEST_F(QualityAtStartTest, givesTheScreenTheSizeThatTheViewerNamedWhileItStarted) {
  sharing_.startSharing();
  quality_.applyVideoParams({}, {}, 800, 600);
  sources_.screen().finishStart();
  EXPECT_EQ(journal_.with("screen 1: reconfigure"_L1), QStringList{u"screen 1: reconfigure 800x600@30"_s});
}

TEST_F(QualityAtStartTest, givesTheSenderTheRatesOfTheScreenThatHasStarted) {
  sharing_.startSharing();
  quality_.applyQualityPreset(u"native"_s);
  sources_.screen().finishStart();
  EXPECT_EQ(quality_.lastTarget(), (VideoTarget{1920, 1080, 60, 12441}));
  EXPECT_EQ(sender().maxBitrateBps, 12'441'000);
  EXPECT_EQ(sender().maxFramerate, 60);
}

TEST_F(QualityAtStartTest, startsTheScreenAsConfiguredAfterEarlierChoices) {
  quality_.applyQualityPreset(u"low"_s);
  share();
  EXPECT_TRUE(journal_.with("screen 1: reconfigure"_L1).isEmpty());
}

}  // namespace
}  // namespace vantora
