// What a viewer chooses while the local user is asked for the screen.
#include "tests/unit/video/sharing/SharingFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using SharingStartTest = SharingFixture;

TEST_F(SharingStartTest, movesToTheDisplayThatWasChosenWhileTheScreenStarted) {
  start();
  sharing_.startSharing();
  EXPECT_FALSE(sharing_.selectDisplay(1));
  EXPECT_TRUE(journal_.with("screen 1: display"_L1).isEmpty());
  sources_.screen().finishStart();
  EXPECT_EQ(journal_.with("screen 1: display"_L1), QStringList{u"screen 1: display 1"_s});
  EXPECT_EQ(sharing_.displayIndexUsed(), 1);
}

TEST_F(SharingStartTest, asksAUserWhoRefusedForNothingElse) {
  start();
  sharing_.startSharing();
  int calls = 0;
  sharing_.selectDisplay(1);
  sharing_.whenScreenStarted([&calls] { ++calls; });
  sources_.screen().events.refused(u"screen_recording"_s);
  sources_.screen().finishStart();
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(journal_.with("screen 1: display"_L1).isEmpty());
  EXPECT_TRUE(sharing_.selectDisplay(0)) << "the viewer may ask again";
  EXPECT_EQ(journal_.with("screen 1: display"_L1), QStringList{u"screen 1: display 0"_s});
}

TEST_F(SharingStartTest, leavesTheDisplayAloneWhenTheFirstOneWasChosenAgain) {
  start();
  sharing_.startSharing();
  sharing_.selectDisplay(1);
  sharing_.selectDisplay(0);
  sources_.screen().finishStart();
  EXPECT_TRUE(journal_.with("screen 1: display"_L1).isEmpty());
}

TEST_F(SharingStartTest, keepsTheChosenDisplayWhenTheConnectionIsRebuiltWhileTheScreenStarts) {
  start();
  sharing_.startSharing();
  sharing_.selectDisplay(1);
  sharing_.detachSender();
  peer_ = factory_.createPeerConnection({}, {});
  start();
  sources_.screen().finishStart();
  EXPECT_EQ(journal_.with("screen 1: display"_L1), QStringList{u"screen 1: display 1"_s});
}

TEST_F(SharingStartTest, tellsOfAStartedScreenOnlyWhoAskedDuringItsStart) {
  start();
  int calls = 0;
  const auto count = [&calls] { ++calls; };
  sharing_.whenScreenStarted(count);
  sharing_.startSharing();
  sharing_.whenScreenStarted(count);
  sharing_.whenScreenStarted(count);
  sharing_.stopSharing();
  sharing_.startSharing();
  sources_.screen().finishStart();
  EXPECT_EQ(calls, 0);
  sharing_.stopSharing();
  sharing_.startSharing();
  sharing_.whenScreenStarted(count);
  sources_.screen().finishStart();
  EXPECT_EQ(calls, 1);
  sharing_.whenScreenStarted(count);
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace vantora
