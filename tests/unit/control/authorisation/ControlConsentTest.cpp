// "control" on a desktop that asks its user first.
#include "tests/unit/control/authorisation/AuthorisationFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using ControlConsentTest = AuthorisationFixture;

TEST_F(ControlConsentTest, answersInOrderWhenTheUserHasDecided) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  QList<bool> permitted;
  const auto ask = [&](const JsonObject& fields) {
    authorisation.handleControl(ControlChannel::control, fields, [&](bool each) { permitted.append(each); });
  };
  ask(kEnable);
  ask(kDisable);
  EXPECT_TRUE(sender_.sent.isEmpty() && permitted.isEmpty());
  EXPECT_FALSE(authorisation.controlEnabled());
  ASSERT_EQ(prompts_.size(), 1U) << "the user is asked once";
  prompts_[0](true);
  const QList<Sent> sent = sender_.take();
  ASSERT_EQ(sent.size(), 2);
  EXPECT_EQ(sent[0].message, state(true));
  EXPECT_EQ(sent[1].message, state(false));
  EXPECT_FALSE(authorisation.controlEnabled());
  EXPECT_EQ(permitted, (QList{true, true}));
}

TEST_F(ControlConsentTest, decidesByTheRightsAtTheTimeOfTheReply) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  authorisation.handleControl(ControlChannel::control, kEnable, [](bool) {});
  authorisation.setAllowRemoteControl(false);
  prompts_[0](true);
  EXPECT_EQ(onlyAnswer(), state(false));
  EXPECT_FALSE(authorisation.controlEnabled());
}

// Also when the channel is opened again on the same connection, and in the room that needs no PIN.
TEST_F(ControlConsentTest, dropsRequestsThatWaitWhenAChannelCloses) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make(u"demo"_s);
  bool done = false;
  authorisation.handleControl(ControlChannel::control, kEnable, [&](bool) { done = true; });
  authorisation.resetOnChannelClose();
  auth(authorisation, {});
  ASSERT_EQ(prompts_.size(), 1U);
  prompts_[0](true);
  EXPECT_FALSE(authorisation.controlEnabled() || done);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ControlConsentTest, answersTheNextViewerWithTheReplyThatTheUserGivesMeanwhile) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make();
  QStringList done;
  authorisation.handleControl(ControlChannel::control, kEnable, [&](bool) { done += u"first"_s; });
  authorisation.resetOnChannelClose();
  auth(authorisation, kRightToken);
  authorisation.handleControl(ControlChannel::control, kEnable, [&](bool) { done += u"second"_s; });
  ASSERT_EQ(prompts_.size(), 1U);
  prompts_[0](true);
  EXPECT_EQ(done, QStringList{u"second"_s});
  EXPECT_EQ(onlyAnswer(), state(true));
}

TEST_F(ControlConsentTest, takesARequestThatIsMadeWithinAReply) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make(u"demo"_s);
  QStringList done;
  authorisation.handleControl(ControlChannel::control, kEnable, [&](bool) {
    done += u"on"_s;
    authorisation.handleControl(ControlChannel::control, kDisable, [&](bool) { done += u"off"_s; });
  });
  prompts_[0](true);
  EXPECT_EQ(done, (QStringList{u"on"_s, u"off"_s}));
  EXPECT_FALSE(authorisation.controlEnabled());
}

TEST_F(ControlConsentTest, keepsABoundedNumberOfRequestsWaiting) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make();
  for (int i = 0; i < 1000; ++i) authorisation.handleControl(ControlChannel::control, kEnable, [](bool) {});
  ASSERT_EQ(prompts_.size(), 1U);
  prompts_[0](false);
  EXPECT_EQ(static_cast<std::size_t>(sender_.take().size()), std::size_t{ControlAuthorisation::kMaxWaiting});
  authorisation.handleControl(ControlChannel::control, kEnable, [](bool) {});
  EXPECT_EQ(prompts_.size(), 2U);
}

TEST_F(ControlConsentTest, answersForADesktopThatClosesBeforeItsUserHasDecided) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  std::optional<bool> permitted;
  authorisation.handleControl(ControlChannel::control, kEnable, [&](bool each) { permitted = each; });
  authorisation.desktopClosed();
  EXPECT_EQ(onlyAnswer(), state(false));
  EXPECT_EQ(permitted, false);
  prompts_[0](true);
  EXPECT_FALSE(authorisation.controlEnabled()) << "the reply came too late";
  EXPECT_TRUE(sender_.sent.isEmpty());
  authorisation.handleControl(ControlChannel::control, kEnable, [](bool) {});
  ASSERT_EQ(prompts_.size(), 2U) << "the next viewer's request is a new one";
  prompts_[0](true);
  EXPECT_FALSE(authorisation.controlEnabled());
  prompts_[1](true);
  EXPECT_TRUE(authorisation.controlEnabled());
}

TEST_F(ControlConsentTest, endsControlWithTheDesktop) {
  ControlAuthorisation authorisation = make();
  authorisation.desktopClosed();
  EXPECT_TRUE(sender_.sent.isEmpty());
  auth(authorisation, kRightToken);
  control(authorisation, kEnable);
  authorisation.desktopClosed();
  EXPECT_EQ(onlyAnswer(), state(false));
  EXPECT_EQ(ended_, 1);
  EXPECT_TRUE(authorisation.controlAuthed());
}

TEST_F(ControlConsentTest, survivesAnAnswerAfterItsEnd) {
  promptsUser_ = true;
  {
    ControlAuthorisation authorisation = make();
    authorisation.handleControl(ControlChannel::control, kEnable, [](bool) { FAIL(); });
  }
  prompts_[0](true);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
