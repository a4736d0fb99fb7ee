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

// While the local user is being asked for the screen.
class SharingConsentTest : public SharingFixture {
 protected:
  static fakes::FakeControlSender::Sent permissionRequired() {
    return {ControlChannel::control, {{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"screen_recording"_s}}};
  }
  void startAndAsk() {
    start();
    sharing_.setViewerConnected(true);
    sharing_.startSharing();
    sender_.sent.clear();
    journal_.take();
    sharing_.setAwaitingConsent(true);
  }
};

TEST_F(SharingConsentTest, showsTheSyntheticPictureAndSaysWhatIsMissing) {
  startAndAsk();
  EXPECT_EQ(track().track, u"synthetic 1"_s);
  EXPECT_TRUE(sources_.synthetic().started) << "also without SHARE_IDLE_VIDEO";
  EXPECT_TRUE(sources_.synthetic().onTrack);
  EXPECT_EQ(sender_.sent, QList{permissionRequired()});
  sharing_.setAwaitingConsent(true);
  EXPECT_EQ(sender_.sent.size(), 1);
}

TEST_F(SharingConsentTest, tellsAViewerWhoComesMeanwhile) {
  startAndAsk();
  sender_.sent.clear();
  sharing_.detachSender();
  peer_ = factory_.createPeerConnection({}, {});
  start();
  EXPECT_EQ(track().track, u"synthetic 2"_s);
  EXPECT_TRUE(sources_.synthetic().started && sources_.synthetic().onTrack);
  sharing_.controlOpened();
  EXPECT_EQ(sender_.sent, QList{permissionRequired()});
}

TEST_F(SharingConsentTest, putsTheScreenOnTheTrackOnceItHasStarted) {
  startAndAsk();
  sender_.sent.clear();
  sources_.screen().finishStart();
  EXPECT_EQ(track().track, u"screen 1"_s);
  EXPECT_FALSE(sources_.synthetic().onTrack);
  EXPECT_TRUE(sender_.sent.isEmpty());
  sharing_.controlOpened();
  EXPECT_TRUE(sender_.sent.isEmpty()) << "nothing is missing any more";
}

TEST_F(SharingConsentTest, aRefusalTakesTheUsualPath) {
  startAndAsk();
  sender_.sent.clear();
  sharing_.setAwaitingConsent(false);
  sources_.screen().events.refused(u"screen_recording"_s);
  sources_.screen().finishStart();
  EXPECT_EQ(track().track, u"screen 1"_s);
  EXPECT_TRUE(sharing_.isSharingEnabled());
  EXPECT_EQ(sender_.sent, QList{permissionRequired()});
}

TEST_F(SharingConsentTest, keepsTheSyntheticPictureOfAnotherSize) {
  startAndAsk();
  sharing_.rebuildSynthetic(640, 480, 15);
  EXPECT_EQ(track().track, u"synthetic 2"_s);
  EXPECT_TRUE(sources_.synthetic().onTrack);
}

TEST_F(SharingConsentTest, endsWithTheSharing) {
  startAndAsk();
  sharing_.stopSharing();
  sender_.sent.clear();
  sharing_.controlOpened();
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_FALSE(sources_.synthetic().started);
  sharing_.setAwaitingConsent(true);
  EXPECT_TRUE(sender_.sent.isEmpty()) << "without sharing nobody waits";
}

}  // namespace
}  // namespace vantora
