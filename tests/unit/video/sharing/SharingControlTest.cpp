#include "tests/unit/video/sharing/SharingFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Sent = fakes::FakeControlSender::Sent;

using SharingControlTest = SharingFixture;

TEST_F(SharingControlTest, setsUpTheTrack) {
  journal_.take();
  start();
  EXPECT_EQ(logged(), (QStringList{u"log: [quality] degradationPreference=maintain-framerate"_s,
                                   u"log: [quality] contentHint=motion"_s}));
  EXPECT_EQ(sizeOf(sources_.synthetic()), u"1280x720@60"_s);
  EXPECT_EQ(track().track, u"synthetic 1"_s);
  EXPECT_EQ(track().maxFramerate, 60);
  EXPECT_EQ(track().degradation, DegradationPreference::maintainFramerate);
  EXPECT_EQ(track().contentHint, u"motion"_s);
  EXPECT_FALSE(sources_.synthetic().started);
  EXPECT_FALSE(sharing_.useScreenSource());
  EXPECT_FALSE(sharing_.isSharingEnabled());
  EXPECT_EQ(sharing_.videoSender(), videoSender_.get());
}

TEST_F(SharingControlTest, appliesEverySettingOfTheEnvironment) {
  environment_ = {{"FPS", u"25"_s},
                  {"WIDTH", u"1920"_s},
                  {"HEIGHT", u"1080"_s},
                  {"DISPLAY_INDEX", u"1"_s},
                  {"INPUT_MAP", u"PIXELS"_s},
                  {"INPUT_ORIGIN", u"Bottom"_s},
                  {"CONTENT_HINT", u"DETAIL"_s},
                  {"SHARE_IDLE_VIDEO", u"1"_s}};
  journal_.take();
  start();
  // 1000 x 700: the requested size shrinks by 0.5208.
  EXPECT_EQ(sizeOf(sources_.synthetic()), u"1000x562@25"_s);
  EXPECT_EQ(journal_.with("input:"_L1), (QStringList{u"input: points=0"_s, u"input: top=0"_s}));
  EXPECT_EQ(logged(), (QStringList{u"log: [quality] degradationPreference=maintain-framerate"_s,
                                   u"log: [quality] contentHint=detail"_s}));
  EXPECT_EQ(track().maxFramerate, 25);
  EXPECT_EQ(track().contentHint, u"detail"_s);
  EXPECT_TRUE(sources_.synthetic().started);
  EXPECT_EQ(sharing_.displayIndexUsed(), 1);
}

TEST_F(SharingControlTest, takesOtherMappingTextsAsPointsAndTop) {
  environment_ = {{"INPUT_MAP", u"x"_s}};
  start();
  EXPECT_EQ(journal_.with("input:"_L1), QStringList{u"input: points=1"_s});
  journal_.take();
  environment_ = {{"INPUT_ORIGIN", u""_s}};
  sharing_.startVideoSource(*peer_, videoSender_);
  EXPECT_EQ(journal_.with("input:"_L1), QStringList{u"input: top=1"_s});
}

TEST_F(SharingControlTest, startsTheIdlePatternForExactlyOne) {
  for (const QString& value : {u"true"_s, u"0"_s, u""_s, u" 1"_s, u"01"_s}) {
    environment_ = {{"SHARE_IDLE_VIDEO", value}};
    start();
    EXPECT_FALSE(sources_.synthetic().started) << value.toStdString();
  }
  environment_ = {{"SHARE_IDLE_VIDEO", u"1"_s}};
  start();
  EXPECT_TRUE(sources_.synthetic().started);
}

TEST_F(SharingControlTest, logsNothingAboutWhatTheLibraryCannotDo) {
  factory_.last().refusesTransceivers = true;
  journal_.take();
  start();
  EXPECT_TRUE(journal_.with("log:"_L1).isEmpty());
  EXPECT_EQ(sharing_.videoSender(), nullptr);
}

TEST_F(SharingControlTest, startsSharingAndOffersOnceTheCaptureRuns) {
  environment_ = {{"WIDTH", u"3000"_s}, {"HEIGHT", u"2000"_s}, {"FPS", u"30"_s}, {"DISPLAY_INDEX", u"1"_s}};
  start();
  journal_.take();
  sharing_.startSharing();
  // The requested size is passed to the capture unchanged: the capture limits it itself.
  EXPECT_EQ(sizeOf(sources_.screen()), u"3000x2000@30"_s);
  EXPECT_EQ(journal_.with("input:"_L1), QStringList{u"input: screen=1"_s});
  EXPECT_TRUE(journal_.holds({u"sender: track=screen 1"_s, u"screen 1: start"_s}));
  EXPECT_TRUE(journal_.holds({u"changed"_s}));
  EXPECT_FALSE(journal_.holds({u"offer"_s}));
  EXPECT_EQ(sources_.screen().displayIndex, 1);
  EXPECT_TRUE(sharing_.isSharingEnabled());
  EXPECT_FALSE(sharing_.useScreenSource()) << "before the capture has started";
  journal_.take();
  sources_.screen().finishStart();
  EXPECT_EQ(journal_.take(), (QStringList{u"log: [share] started screen capture"_s, u"offer"_s}));
  EXPECT_TRUE(sharing_.useScreenSource());
}

TEST_F(SharingControlTest, startsSharingOnlyOnce) {
  startAndShare();
  sharing_.startSharing();
  EXPECT_TRUE(journal_.take().isEmpty());
  EXPECT_EQ(sources_.screens.size(), 1U);
}

TEST_F(SharingControlTest, stopsNothingWhileSharingIsOff) {
  start();
  journal_.take();
  sharing_.stopSharing();
  EXPECT_TRUE(journal_.take().isEmpty());
}

TEST_F(SharingControlTest, stopsSharingAndOffersTheTestPattern) {
  startAndShare();
  environment_ = {{"WIDTH", u"3840"_s}, {"HEIGHT", u"2160"_s}};
  sharing_.stopSharing();
  EXPECT_EQ(sizeOf(sources_.synthetic()), u"1920x1080@60"_s);
  EXPECT_TRUE(sources_.screen().stopped);
  EXPECT_TRUE(sources_.synthetics[0]->stopped);
  EXPECT_EQ(logged(), QStringList{u"log: [share] stopped screen capture"_s});
  EXPECT_TRUE(journal_.holds({u"sender: track=synthetic 2"_s, u"offer"_s}));
  EXPECT_TRUE(journal_.holds({u"changed"_s}));
  EXPECT_FALSE(sharing_.isSharingEnabled());
  EXPECT_FALSE(sharing_.useScreenSource());
  EXPECT_TRUE(sources_.screen().destroyed);
  EXPECT_FALSE(sources_.synthetic().started);
}

TEST_F(SharingControlTest, startsTheIdlePatternAgainAfterSharing) {
  startAndShare();
  environment_ = {{"SHARE_IDLE_VIDEO", u"1"_s}};
  sharing_.stopSharing();
  EXPECT_TRUE(sources_.synthetic().started);
}

TEST_F(SharingControlTest, sharesWithoutASender) {
  factory_.last().refusesTransceivers = true;
  start();
  sharing_.startSharing();
  sources_.screen().finishStart();
  EXPECT_TRUE(sharing_.useScreenSource());
  sharing_.stopSharing();
  EXPECT_FALSE(sharing_.useScreenSource());
  EXPECT_TRUE(journal_.with("sender:"_L1).isEmpty());
}

TEST_F(SharingControlTest, ignoresAStartThatReturnsAfterSharingStopped) {
  start();
  sharing_.startSharing();
  const auto late = sources_.screen().startDone;
  sharing_.stopSharing();
  journal_.take();
  sources_.screen().finishStart();
  EXPECT_FALSE(sharing_.useScreenSource());
  EXPECT_TRUE(journal_.take().isEmpty());
}

TEST_F(SharingControlTest, tellsTheViewerWhichPermissionIsMissing) {
  start();
  sharing_.startSharing();
  sources_.screen().events.refused(u"screen_recording"_s);
  EXPECT_EQ(sender_.sent,
            (QList<Sent>{{ControlChannel::control,
                          {{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"screen_recording"_s}}}}));
  sources_.screen().finishStart();
  EXPECT_TRUE(sharing_.isSharingEnabled());
  EXPECT_TRUE(sharing_.useScreenSource());
}

TEST_F(SharingControlTest, dropsThePermissionNotificationWithoutAControlChannel) {
  start();
  sharing_.startSharing();
  sender_.control.exists = false;
  sources_.screen().events.refused(u"screen_recording"_s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(SharingControlTest, tellsAViewerThatComesLaterWhichPermissionIsMissing) {
  const QList<Sent> notification = {
      {ControlChannel::control, {{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"screen_recording"_s}}}};
  start();
  sharing_.startSharing();
  sender_.control.exists = false;
  sources_.screen().events.refused(u"screen_recording"_s);
  sources_.screen().finishStart();
  sender_.control.exists = true;
  for (int opening = 0; opening < 2; ++opening) {
    sender_.sent.clear();
    sharing_.controlOpened();
    EXPECT_EQ(sender_.sent, notification);
  }
}

TEST_F(SharingControlTest, tellsALaterViewerNothingOnceTheScreenIsShared) {
  startAndShare();
  sharing_.controlOpened();
  EXPECT_TRUE(sender_.sent.isEmpty());
  sources_.screen().events.refused(u"screen_recording"_s);
  sharing_.selectDisplay(1);
  sender_.sent.clear();
  sharing_.controlOpened();
  EXPECT_TRUE(sender_.sent.isEmpty()) << "the other display was not refused";
}

TEST_F(SharingControlTest, tellsALaterViewerNothingOnceSharingStopped) {
  startAndShare();
  const auto refused = sources_.screen().events.refused;
  refused(u"screen_recording"_s);
  sharing_.stopSharing();
  sender_.sent.clear();
  sharing_.controlOpened();
  sharing_.startSharing();
  sharing_.controlOpened();
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(SharingControlTest, movesARunningCaptureToAnotherDisplay) {
  startAndShare();
  EXPECT_TRUE(sharing_.selectDisplay(1));
  EXPECT_EQ(journal_.take(), (QStringList{u"input: screen=1"_s, u"screen 1: display 1"_s}));
  EXPECT_EQ(sharing_.displayIndexUsed(), 1);
}

TEST_F(SharingControlTest, remembersTheDisplayForALaterCapture) {
  start();
  EXPECT_FALSE(sharing_.selectDisplay(1));
  sharing_.startSharing();
  EXPECT_EQ(sources_.screen().displayIndex, 1);
}

TEST_F(SharingControlTest, keepsTheRunningCaptureForARebuiltConnection) {
  startAndShare();
  sharing_.selectDisplay(1);
  sharing_.detachSender();
  videoSender_.reset();
  auto next = factory_.createPeerConnection({}, {});
  sharing_.startVideoSource(*next, videoSender_);
  EXPECT_TRUE(sharing_.useScreenSource());
  EXPECT_EQ(sharing_.displayIndexUsed(), 1);
  EXPECT_EQ(factory_.last().sender().track, u"screen 1"_s);
  EXPECT_EQ(sources_.screens.size(), 1U);
  EXPECT_FALSE(sources_.screen().stopped);
  videoSender_.reset();
}

TEST_F(SharingControlTest, touchesNoSenderThatWasDetached) {
  start();
  sharing_.detachSender();
  videoSender_.reset();
  sharing_.startSharing();
  sharing_.stopSharing();
  EXPECT_EQ(factory_.last().senders.back()->track, u"synthetic 1"_s);
}

TEST_F(SharingControlTest, makesFramesOnlyWhileAViewerIsConnected) {
  start();
  EXPECT_FALSE(sources_.synthetic().active);
  sharing_.setViewerConnected(true);
  EXPECT_TRUE(sources_.synthetic().active);
  sharing_.startSharing();
  EXPECT_TRUE(sources_.screen().active);
  sharing_.setViewerConnected(false);
  EXPECT_FALSE(sources_.screen().active);
  EXPECT_FALSE(sources_.synthetic().active);
  sharing_.rebuildSynthetic(640, 480, 15);
  EXPECT_FALSE(sources_.synthetic().active);
}

TEST_F(SharingControlTest, paintsTheTestPatternOnlyWhileItHasTheTrack) {
  environment_ = {{"SHARE_IDLE_VIDEO", u"1"_s}};
  start();
  sharing_.setViewerConnected(true);
  EXPECT_TRUE(sources_.synthetic().paints());
  sharing_.rebuildSynthetic(3840, 2160, 60);
  EXPECT_TRUE(sources_.synthetic().paints());
  sharing_.startSharing();
  EXPECT_FALSE(sources_.synthetic().paints());
  // A preset is chosen before the capture has started.
  sharing_.rebuildSynthetic(640, 480, 15);
  EXPECT_FALSE(sources_.synthetic().paints());
  sources_.screen().finishStart();
  // Another connection.
  sharing_.detachSender();
  videoSender_.reset();
  const auto next = factory_.createPeerConnection({}, {});
  sharing_.startVideoSource(*next, videoSender_);
  sharing_.setViewerConnected(false);
  sharing_.setViewerConnected(true);
  EXPECT_TRUE(sources_.synthetic().started);
  EXPECT_FALSE(sources_.synthetic().paints());
  sharing_.stopSharing();
  EXPECT_TRUE(sources_.synthetic().paints());
  videoSender_.reset();
}

TEST_F(SharingControlTest, passesARefreshToTheCapture) {
  start();
  sharing_.refresh();  // No capture: does nothing.
  sharing_.startSharing();
  sharing_.refresh();
  EXPECT_EQ(sources_.screen().refreshes, 1);
}

TEST_F(SharingControlTest, reportsTheCaptureTimeOfTheScreenOnly) {
  start();
  EXPECT_EQ(sharing_.lastCaptureWallNs(), 0);
  sharing_.startSharing();
  sources_.screen().lastCaptureWallNs = 5;
  EXPECT_EQ(sharing_.lastCaptureWallNs(), 5);
  sharing_.stopSharing();
  EXPECT_EQ(sharing_.lastCaptureWallNs(), 0);
}

TEST_F(SharingControlTest, replacesTheSyntheticSourceByAStartedOne) {
  start();
  journal_.take();
  sharing_.rebuildSynthetic(640, 480, 15);
  EXPECT_EQ(sizeOf(sources_.synthetic()), u"640x480@15"_s);
  EXPECT_TRUE(sources_.synthetic().started);
  EXPECT_EQ(track().track, u"synthetic 2"_s);
  EXPECT_TRUE(sources_.synthetics[0]->stopped);
  EXPECT_TRUE(sources_.synthetics[0]->destroyed);
}

TEST_F(SharingControlTest, stopsItsSourcesAtTheEnd) {
  {
    SharingControl sharing(Environment::of({}), displays_, sender_, sources_.factory(),
                           {.makeOffer = [] {},
                            .changed = [] {},
                            .displayResized = [] {},
                            .input = {[](bool) {}, [](bool) {}, [](int) {}}});
    std::unique_ptr<VideoSender> sender;
    sharing.startVideoSource(*peer_, sender);
    sharing.startSharing();
  }
  EXPECT_TRUE(sources_.screen().stopped);
  EXPECT_TRUE(sources_.synthetic().stopped);
}

}  // namespace
}  // namespace vantora
