// Consent that is remembered, and the portal's part in time limits.
#include <sys/stat.h>

#include <QFile>

#include "platform/portal/PortalSession.h"
#include "tests/wayland/portal/PortalFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testportal::Answer;

class PortalRestoreTest : public PortalFixture {};

TEST_F(PortalRestoreTest, restoresAConsentToTheScreenAlone) {
  portal_->remoteDesktop = 0;
  shareAndGrant();
  EXPECT_EQ(portal_->options[u"SelectSources"_s].value(u"persist_mode"_s).toUInt(), 2U);
  portal_->token = u"token-1"_s;
  start();
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 1);
  EXPECT_EQ(portal_->restored, 1);
  EXPECT_EQ(states_, (std::vector{DesktopState::ready})) << "nobody was asked";
}

TEST_F(PortalRestoreTest, restoresAConsentToControl) {
  portal_->remoteDesktop = 2;
  shareAndGrant();
  EXPECT_EQ(portal_->options[u"SelectDevices"_s].value(u"persist_mode"_s).toUInt(), 2U);
  EXPECT_FALSE(portal_->options[u"SelectSources"_s].contains(u"persist_mode"_s));
  start();
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 1);
  askForControl();
  EXPECT_TRUE(permission_ && permission_->granted);
}

TEST_F(PortalRestoreTest, keepsTheNewestToken) {
  portal_->remoteDesktop = 2;
  shareAndGrant();
  start();
  share();
  portal_->token = u"token-1"_s;
  (void)outcome();
  start();
  portal_->token = u"token-2"_s;
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 2) << "the first token was not valid any more";
  start();
  shareAndGrant();
  EXPECT_EQ(portal_->options[u"SelectDevices"_s].value(u"restore_token"_s).toString(), u"token-2"_s);
  EXPECT_EQ(portal_->questions, 2);
}

// It would refuse control at every later start, without a question.
TEST_F(PortalRestoreTest, doesNotKeepAConsentWithoutControl) {
  portal_->remoteDesktop = 2;
  portal_->answer = Answer::viewOnly;
  shareAndGrant();
  portal_->answer = Answer::yes;
  start();
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 2);
}

// Portals refuse what is no token of theirs.
TEST_F(PortalRestoreTest, asksWithoutATokenThatThePortalRefuses) {
  portal_->remoteDesktop = 2;
  shareAndGrant();
  start();
  portal_->refusedToken = portal_->token;
  share();
  EXPECT_EQ(outcome().outcome, Outcome::granted);
  EXPECT_EQ(portal_->questions, 2);
  EXPECT_EQ(portal_->restored, 0);
}

TEST_F(PortalRestoreTest, saysThatItAsksWhenARevokedConsentIsNotRestored) {
  portal_->remoteDesktop = 2;
  shareAndGrant();
  start();
  portal_->token = u"another"_s;
  portal_->answer = Answer::none;
  share();
  ASSERT_TRUE(becomesAsked(2));
  portal_->decide(Answer::yes);
  EXPECT_EQ(outcome().outcome, Outcome::granted);
}

TEST_F(PortalRestoreTest, storesTokensForTheUserAlone) {
  portal_->remoteDesktop = 2;
  shareAndGrant();
  struct stat status {};
  ASSERT_EQ(::stat(state_.filePath(u"vantora-host/consent.json"_s).toUtf8().constData(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(PortalRestoreTest, storesNothingWhenToldSo) {
  keepConsent_ = u"0"_s;
  start();
  portal_->remoteDesktop = 2;
  shareAndGrant();
  EXPECT_FALSE(QFile::exists(state_.filePath(u"vantora-host"_s)));
  EXPECT_FALSE(portal_->options[u"SelectDevices"_s].contains(u"persist_mode"_s)) << "nor shall the desktop remember";
  start();
  shareAndGrant();
  EXPECT_EQ(portal_->questions, 2);
}

// A session by itself, with a timeout that a test can wait for.
class PortalSessionTest : public PortalFixture {
 protected:
  PortalSession session_{address(), RestoreTokens(Environment::of({})), [] {}, std::chrono::milliseconds(100)};
  [[nodiscard]] bool refused() {
    session_.start();
    return testloop::waitFor([this] { return session_.state() == PortalSession::State::refused; });
  }
};

TEST_F(PortalSessionTest, aPortalThatHangsIsARefusal) {
  for (const QString& method : {u"GetAll"_s, u"CreateSession"_s, u"SelectDevices"_s, u"SelectSources"_s}) {
    portal_->silent = {method};
    EXPECT_TRUE(refused()) << method.toStdString();
  }
  portal_->silent = {};
  session_.start();
  EXPECT_TRUE(testloop::waitFor([this] { return session_.state() == PortalSession::State::granted; }));
}

TEST_F(PortalSessionTest, theUserMayTakeLongerThanThePortal) {
  portal_->answer = Answer::none;
  session_.start();
  ASSERT_TRUE(testloop::waitFor([this] { return portal_->questions == 1; }));
  bool later = false;
  QTimer::singleShot(300, [&later] { later = true; });
  ASSERT_TRUE(testloop::waitFor([&later] { return later; }));
  EXPECT_EQ(session_.state(), PortalSession::State::asking);
}

}  // namespace
}  // namespace vantora
