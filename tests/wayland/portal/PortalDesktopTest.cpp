// Consent through the desktop's portal.
#include <QDBusUnixFileDescriptor>

#include "tests/wayland/portal/PortalFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testportal::Answer;

class PortalDesktopTest : public PortalFixture {};

TEST_F(PortalDesktopTest, asksWhenACaptureNeedsTheScreen) {
  testloop::drain();
  EXPECT_EQ(portal_->questions, 0);
  EXPECT_EQ(desktop_->status().state, DesktopState::starting);
  EXPECT_TRUE(desktop_->displays().list().empty());
  share();
  const auto reply = outcome();
  EXPECT_EQ(reply.outcome, Outcome::granted);
  EXPECT_EQ(reply.streams, (std::vector<PortalStream>{{.node = 42, .position = {{0, 0}}, .size = {{1000, 600}}}}));
  EXPECT_GE(reply.remote.get(), 0);
  EXPECT_EQ(portal_->questions, 1);
  EXPECT_EQ(states_, (std::vector{DesktopState::awaitingConsent, DesktopState::ready}));
  ASSERT_EQ(desktop_->displays().list().size(), 1U);
  EXPECT_EQ(desktop_->displays().list().front().bounds, QRect(0, 0, 1000, 600));
}

TEST_F(PortalDesktopTest, asksForMonitorsWithTheCursorBesideThePicture) {
  shareAndGrant();
  const QVariantMap sources = portal_->options[u"SelectSources"_s];
  EXPECT_EQ(sources.value(u"types"_s).toUInt(), 1U);
  EXPECT_EQ(sources.value(u"cursor_mode"_s).toUInt(), 4U);
  EXPECT_TRUE(sources.value(u"multiple"_s).toBool());
  EXPECT_FALSE(sources.contains(u"persist_mode"_s)) << "refused within a session of remote input";
  EXPECT_EQ(portal_->options[u"SelectDevices"_s].value(u"types"_s).toUInt(), 3U);
}

TEST_F(PortalDesktopTest, hidesTheCursorWhereItCannotBeBesideThePicture) {
  portal_->cursorModes = 3;
  shareAndGrant();
  EXPECT_EQ(portal_->options[u"SelectSources"_s].value(u"cursor_mode"_s).toUInt(), 1U);
}

TEST_F(PortalDesktopTest, waitsForTheUserAsLongAsItTakes) {
  portal_->answer = Answer::none;
  share();
  ASSERT_TRUE(becomesAsked());
  EXPECT_EQ(decisions_, 0);
  portal_->decide(Answer::yes);
  EXPECT_EQ(outcome().outcome, Outcome::granted);
}

TEST_F(PortalDesktopTest, aRefusalIsFinalForTheCapture) {
  portal_->answer = Answer::no;
  share();
  const auto reply = outcome();
  EXPECT_EQ(reply.outcome, Outcome::refused);
  EXPECT_EQ(reply.error, u"the user refused to share the screen"_s);
  EXPECT_EQ(desktop_->status(), (DesktopStatus{DesktopState::refused, reply.error}));
  EXPECT_EQ(access_->request([] {}).outcome, Outcome::refused);
  EXPECT_EQ(portal_->questions, 1) << "nothing asks again by itself";
}

TEST_F(PortalDesktopTest, aLaterStartAsksAgain) {
  portal_->answer = Answer::no;
  share();
  (void)outcome();
  stopSharing();
  portal_->answer = Answer::yes;
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 2);
  EXPECT_EQ(desktop_->status().state, DesktopState::ready);
}

TEST_F(PortalDesktopTest, asksOnceInTheLifeOfTheProgram) {
  shareAndGrant();
  stopSharing();
  shareAndGrant();
  request();
  EXPECT_EQ(outcome().outcome, Outcome::granted) << "the same capture, again";
  EXPECT_EQ(portal_->questions, 1);
  EXPECT_EQ(portal_->remotesOpened, 3);
}

TEST_F(PortalDesktopTest, asksForControlAgainWhenOnlyTheScreenWasShared) {
  portal_->answer = Answer::viewOnly;
  shareAndGrant();
  askForControl();
  ASSERT_TRUE(permission_);
  EXPECT_FALSE(permission_->granted);
  EXPECT_EQ(permission_->reason, u"the user shares the screen without control of it"_s);
  stopSharing();
  EXPECT_TRUE(desktop_->displays().list().empty());
  portal_->answer = Answer::yes;
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 2);
  askForControl();
  EXPECT_TRUE(permission_ && permission_->granted);
}

TEST_F(PortalDesktopTest, withdrawsTheQuestionWhenSharingStops) {
  portal_->answer = Answer::none;
  share();
  ASSERT_TRUE(becomesAsked());
  askForControl();
  stopSharing();
  EXPECT_TRUE(testloop::waitFor([&] { return portal_->closedRequests == 1 && portal_->closedSessions.size() == 1; }));
  EXPECT_EQ(desktop_->status().state, DesktopState::starting);
  ASSERT_TRUE(permission_);
  EXPECT_FALSE(permission_->granted);
  portal_->answer = Answer::yes;
  shareAndGrant();
}

TEST_F(PortalDesktopTest, aQuestionSurvivesARestartOfTheSharing) {
  portal_->answer = Answer::none;
  share();
  ASSERT_TRUE(becomesAsked());
  auto first = access_;
  share();
  first.reset();
  testloop::drain();
  decisions_ = 0;
  portal_->decide(Answer::yes);
  EXPECT_EQ(outcome().outcome, Outcome::granted);
  EXPECT_EQ(portal_->questions, 1);
}

// A stranger may send "control" at any time.
TEST_F(PortalDesktopTest, controlAsksNobody) {
  askForControl();
  ASSERT_TRUE(permission_);
  EXPECT_FALSE(permission_->granted);
  EXPECT_FALSE(permission_->reason.isEmpty());
  testloop::drain();
  EXPECT_EQ(portal_->questions, 0);
}

TEST_F(PortalDesktopTest, answersControlAfterTheUser) {
  portal_->answer = Answer::none;
  share();
  ASSERT_TRUE(becomesAsked());
  askForControl();
  testloop::drain();
  EXPECT_FALSE(permission_);
  portal_->decide(Answer::yes);
  ASSERT_TRUE(testloop::waitFor([&] { return permission_.has_value(); }));
  EXPECT_TRUE(permission_->granted);
}

TEST_F(PortalDesktopTest, endsWithTheDesktopsSession) {
  shareAndGrant();
  portal_->closeSession();
  ASSERT_TRUE(becomes(DesktopState::closed));
  EXPECT_EQ(desktop_->status().reason, u"the desktop has ended the session"_s);
  EXPECT_TRUE(desktop_->displays().list().empty());
  EXPECT_EQ(access_->request([] {}).outcome, Outcome::refused);
  EXPECT_EQ(portal_->questions, 1);
  stopSharing();
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 2);
  EXPECT_EQ(desktop_->status().state, DesktopState::ready);
}

TEST_F(PortalDesktopTest, aSessionThatEndsDuringTheQuestionIsARefusal) {
  portal_->answer = Answer::none;
  share();
  ASSERT_TRUE(becomesAsked());
  portal_->closeSession();
  EXPECT_EQ(outcome().outcome, Outcome::refused);
}

TEST_F(PortalDesktopTest, endsWithThePortalAndStartsWithItsSuccessor) {
  shareAndGrant();
  portal_->quit();
  ASSERT_TRUE(becomes(DesktopState::closed));
  EXPECT_EQ(desktop_->status().reason, u"the desktop's portal has ended"_s);
  stopSharing();
  portal_->start();
  shareAndGrant();
}

TEST_F(PortalDesktopTest, aPortalThatEndsDuringTheQuestionIsARefusal) {
  portal_->answer = Answer::none;
  share();
  ASSERT_TRUE(becomesAsked());
  portal_->quit();
  EXPECT_EQ(outcome().outcome, Outcome::refused);
}

TEST_F(PortalDesktopTest, isRefusedWithoutAPortal) {
  portal_->quit();
  share();
  EXPECT_EQ(outcome().error, u"no desktop portal is running"_s);
}

TEST_F(PortalDesktopTest, isRefusedWithoutABus) {
  busAddress_ = u"unix:path=/nonexistent"_s;
  start();
  share();
  EXPECT_EQ(outcome().error, u"there is no session bus"_s);
}

TEST_F(PortalDesktopTest, isRefusedByAPortalWithoutScreens) {
  portal_->screenCast = 0;
  share();
  EXPECT_EQ(outcome().error, u"the desktop's portal offers no screen sharing"_s);
}

TEST_F(PortalDesktopTest, isRefusedByAPortalThatIsTooOld) {
  portal_->screenCast = 3;
  share();
  EXPECT_EQ(outcome().error, u"the desktop's portal is too old (ScreenCast 3)"_s);
  EXPECT_EQ(portal_->questions, 0);
}

TEST_F(PortalDesktopTest, aStepThatFailsIsARefusal) {
  for (const QString& method : {u"CreateSession"_s, u"SelectDevices"_s, u"SelectSources"_s, u"Start"_s}) {
    portal_->failing = {{method, u"out of order"_s}};
    share();
    const auto reply = outcome();
    EXPECT_EQ(reply.outcome, Outcome::refused) << method.toStdString();
    EXPECT_TRUE(reply.error.contains(u"out of order"_s)) << reply.error.toStdString();
    stopSharing();
  }
  EXPECT_EQ(portal_->questions, 0);
}

TEST_F(PortalDesktopTest, aUserWhoChoosesNoScreenRefuses) {
  portal_->streams = {};
  share();
  EXPECT_EQ(outcome().error, u"the user shares no screen"_s);
}

TEST_F(PortalDesktopTest, opensTheConnectionAgainWhilePipeWireRestarts) {
  portal_->failing = {{u"OpenPipeWireRemote"_s, u"no PipeWire"_s}};
  share();
  ASSERT_TRUE(becomes(DesktopState::ready));
  testloop::drain();
  EXPECT_EQ(decisions_, 0);
  portal_->failing = {};
  EXPECT_EQ(outcome().outcome, Outcome::granted);
}

// Where the desktop has no remote input, the screen can be shared without it.
TEST_F(PortalDesktopTest, sharesTheScreenAloneWithoutRemoteInput) {
  portal_->remoteDesktop = 0;
  shareAndGrant();
  askForControl();
  ASSERT_TRUE(permission_);
  EXPECT_EQ(permission_->reason, u"the desktop's portal offers no input"_s);
  stopSharing();
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 1) << "no other answer could allow control";
}

TEST_F(PortalDesktopTest, requestsTheClipboardWhereThereIsOne) {
  shareAndGrant();
  EXPECT_FALSE(portal_->options.contains(u"RequestClipboard"_s));
  start();
  portal_->clipboard = 1;
  shareAndGrant();
  EXPECT_TRUE(portal_->options.contains(u"RequestClipboard"_s));
}

TEST_F(PortalDesktopTest, usesThePortalsClipboardWhileThereIsOne) {
  const auto copy = [this](const QString& text) { desktop_->clipboard().setText(text, [](qint64) {}); };
  copy(u"before"_s);
  EXPECT_EQ(clipboard_.text, u"before"_s);
  portal_->clipboard = 1;
  shareAndGrant();
  copy(u"meanwhile"_s);
  EXPECT_TRUE(testloop::waitFor([&] { return portal_->options.contains(u"SetSelection"_s); }));
  EXPECT_EQ(clipboard_.text, u"before"_s);
  portal_->closeSession();
  ASSERT_TRUE(becomes(DesktopState::closed));
  copy(u"after"_s);
  EXPECT_EQ(clipboard_.text, u"after"_s);
}

TEST_F(PortalDesktopTest, endsItsSessionWithTheProgram) {
  shareAndGrant();
  desktop_.reset();
  EXPECT_TRUE(testloop::waitFor([&] { return portal_->closedSessions.size() == 1; }));
  EXPECT_EQ(access_->request([] {}).outcome, Outcome::refused);
}

TEST_F(PortalDesktopTest, namesEachScreenOnce) {
  portal_->streams = {{.node = 7, .position = QPoint(0, 0), .size = QSize(800, 600)},
                      {.node = 9, .position = QPoint(800, 0), .size = QSize(640, 480)}};
  shareAndGrant();
  const auto displays = desktop_->displays().list();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_EQ(displays[1].bounds, QRect(800, 0, 640, 480));
  EXPECT_EQ(desktop_->displays().find(displays[1].id), displays[1]);
}

// PipeWire gives the numbers of its nodes out again.
TEST_F(PortalDesktopTest, neverTakesOneDisplayForAnother) {
  shareAndGrant();
  const std::uint32_t first = desktop_->displays().list().front().id;
  portal_->closeSession();
  ASSERT_TRUE(becomes(DesktopState::closed));
  stopSharing();
  shareAndGrant();
  EXPECT_NE(desktop_->displays().list().front().id, first);
  EXPECT_FALSE(desktop_->input().moveTo(first, 0.5, 0.5));
  EXPECT_TRUE(desktop_->input().moveTo(desktop_->displays().list().front().id, 0.5, 0.5));
}

TEST_F(PortalDesktopTest, learnsTheScaleFromTheFrames) {
  portal_->streams = {{.node = 7, .position = QPoint(100, 0), .size = QSize(800, 600)}};
  shareAndGrant();
  int changes = 0;
  desktop_->displays().setChangedHandler([&] { ++changes; });
  access_->reportFrameSize(7, QSize(1200, 900));
  ASSERT_TRUE(testloop::waitFor([&] { return changes > 0; }));
  const Display display = desktop_->displays().list().front();
  EXPECT_EQ(display.bounds, QRect(150, 0, 1200, 900));
  EXPECT_EQ(display.frame(), QRectF(100, 0, 800, 600));
  EXPECT_EQ(display.scale, 1.5);
}

}  // namespace
}  // namespace vantora
