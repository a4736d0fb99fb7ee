// A desktop that asks its user before it shows the screen or takes input, and one that ends.
#include "tests/unit/session/HostFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostConsentTest : public HostFixture {};

// The local user takes a minute to decide: nothing blocks, and the replies keep their order.
TEST_F(HostConsentTest, answersControlWhenThePersonHasConsented) {
  connectViewer();
  input_.promptsUser = true;
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"000042"_s}});
  received();
  say({{u"type"_s, u"control"_s}, {u"enable"_s, true}, {u"req"_s, 3}});
  for (int second = 0; second < 60; ++second) {
    scheduler_.advance(std::chrono::seconds(1));
    say({{u"type"_s, u"ping"_s}});
    say({{u"type"_s, u"mouseMove"_s}, {u"x"_s, 0.5}, {u"y"_s, 0.5}});
    const QStringList types = typesOf(received());
    EXPECT_EQ(types.count(u"pong"_s), 1);
    EXPECT_FALSE(types.contains(u"control_state"_s) || types.contains(u"ack"_s));
  }
  EXPECT_TRUE(input_.pointerActions.empty());
  ASSERT_TRUE(input_.answer());
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"control_state"_s}, {u"enabled"_s, true}},
                                           {{u"type"_s, u"ack"_s}, {u"req"_s, 3}}}));
  say({{u"type"_s, u"mouseMove"_s}, {u"x"_s, 0.5}, {u"y"_s, 0.5}});
  EXPECT_EQ(input_.pointerActions.size(), 1U);
}

TEST_F(HostConsentTest, tellsTheViewerOfAPersonsNoInTheSameOrder) {
  connectViewer();
  input_.promptsUser = true;
  say({{u"type"_s, u"control"_s}, {u"enable"_s, true}, {u"req"_s, 3}});
  EXPECT_TRUE(received().isEmpty());
  input_.setUsable(false);
  ASSERT_TRUE(input_.answer());
  EXPECT_EQ(typesOf(received()), (QStringList{u"control_state"_s, u"ack"_s, u"permission_required"_s}));
}

TEST_F(HostConsentTest, releasesInputAndStopsSharingWhenTheDesktopWithdrawsPermission) {
  connectInControl();
  host_->startSharing();
  holdAButton();
  int changes = 0;
  host_->setChangedHandler([&] { ++changes; });
  desktop_.setStatus({DesktopState::closed, u"the person ended it"_s});
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_FALSE(host_->isSharingEnabled());
  EXPECT_GT(changes, 0);
  EXPECT_FALSE(host_->authorisation().controlEnabled());
  EXPECT_TRUE(received().contains({{u"type"_s, u"control_state"_s}, {u"enabled"_s, false}}));
  EXPECT_TRUE(logged().contains(u"[desktop] closed: the person ended it"_s));
  host_->startSharing();
  EXPECT_TRUE(host_->isSharingEnabled()) << "asked again, it may say yes";
}

TEST_F(HostConsentTest, logsThatTheDesktopRefuses) {
  connectViewer();
  desktop_.setStatus({DesktopState::awaitingConsent});
  EXPECT_TRUE(logged().isEmpty());
  desktop_.setStatus({DesktopState::refused, u"the user declined"_s});
  EXPECT_EQ(logged(), QStringList{u"[desktop] refused: the user declined"_s});
}

// The room "demo" gives control without a PIN: a consent that comes late must not reach the next viewer.
TEST_F(HostConsentTest, givesNoControlToAViewerThatDidNotAskForIt) {
  connectViewer(u"demo"_s);
  input_.promptsUser = true;
  say({{u"type"_s, u"control"_s}, {u"enable"_s, true}, {u"req"_s, 3}});
  peer().reliable().close();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().reliable().open();
  received();
  ASSERT_TRUE(input_.answer());
  EXPECT_FALSE(host_->authorisation().controlEnabled());
  EXPECT_TRUE(received().isEmpty());
}

TEST_F(HostConsentTest, tellsTheViewerThatTheUserIsBeingAsked) {
  connectViewer();
  host_->startSharing();
  received("control"_L1);
  desktop_.setStatus({DesktopState::awaitingConsent});
  const JsonObject required{{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"screen_recording"_s}};
  EXPECT_EQ(received("control"_L1), QList{required});
  host_->stopSharing();
  received("control"_L1);
  host_->startSharing();
  EXPECT_EQ(received("control"_L1), QList{required}) << "the question is still open";
  desktop_.setStatus({DesktopState::ready});
  sources_.screen().finishStart();
  EXPECT_FALSE(received("control"_L1).contains(required));
}

// A Wayland desktop has no displays before its user consents.
TEST_F(HostConsentTest, aimsAtTheDisplaysThatAppear) {
  const auto before = displays_.list();
  displays_.set({});
  connectInControl();
  host_->startSharing();
  received();
  displays_.set(before);
  EXPECT_TRUE(typesOf(received()).contains(u"display_info"_s));
  say({{u"type"_s, u"mouseMove"_s}, {u"x"_s, 0.5}, {u"y"_s, 0.5}});
  EXPECT_EQ(input_.pointerActions.size(), 1U);
  EXPECT_EQ(input_.position, QPointF(960, 540));
}

// A desktop that is gone for a moment must not restart the capture, nor forget the rates of the preset.
TEST_F(HostConsentTest, leavesThePictureAloneWhileThereIsNoDisplay) {
  connectInControl();
  host_->startSharing();
  sources_.screen().finishStart();
  say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"native"_s}});
  journal_.take();
  received();
  const auto before = displays_.list();
  displays_.set({});
  EXPECT_TRUE(journal_.with("screen 1"_L1).isEmpty());
  EXPECT_TRUE(received().isEmpty());
  displays_.set(before);
  EXPECT_TRUE(journal_.with("screen 1"_L1).isEmpty());
}

// The local user takes a minute to allow the capture: nothing blocks, and what the viewer chooses meanwhile counts.
TEST_F(HostConsentTest, servesTheViewerWhileTheUserIsAskedForTheScreen) {
  connectInControl();
  host_->startSharing();
  journal_.take();
  for (int second = 0; second < 60; ++second) {
    scheduler_.advance(std::chrono::seconds(1));
    say({{u"type"_s, u"ping"_s}});
    EXPECT_TRUE(typesOf(received()).contains(u"pong"_s));
    if (second == 20) say({{u"type"_s, u"display_index"_s}, {u"index"_s, 1}});
    if (second == 40) say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"low"_s}});
  }
  EXPECT_TRUE(journal_.with("screen 1"_L1).isEmpty());
  EXPECT_FALSE(logged().contains(u"[share] started screen capture"_s));
  sources_.screen().finishStart();
  EXPECT_TRUE(logged().contains(u"[share] started screen capture"_s));
  EXPECT_EQ(journal_.with("screen 1"_L1),
            (QStringList{u"screen 1: display 1"_s, u"screen 1: reconfigure 864x540@30"_s}));
}

}  // namespace
}  // namespace vantora
