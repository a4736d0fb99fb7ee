#include <gtest/gtest.h>

#include <deque>
#include <optional>

#include "main/control/authorisation/ControlAuthorisation.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/RecordedLog.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Sent = fakes::FakeControlSender::Sent;

class ControlAuthorisationTest : public testing::Test {
 protected:
  ControlAuthorisation make(const QString& room = u"r"_s, bool locked = false) {
    return ControlAuthorisation({.controlPIN = u"000042"_s, .pinLockedByEnv = locked, .roomId = room}, sender_,
                                {.ensureAccessibility =
                                     [this](std::function<void(bool)> answer) {
                                       ++accessibilityChecks_;
                                       if (promptsUser_) {
                                         prompts_.push_back(std::move(answer));
                                       } else {
                                         answer(accessible_);
                                       }
                                     },
                                 .controlEnded = [this] { ++ended_; },
                                 .random = [](quint32 limit) { return limit == 1'000'000 ? 7U : 0U; }});
  }
  // Sends "auth" and returns the reply.
  JsonObject auth(ControlAuthorisation& authorisation, const JsonObject& fields) {
    authorisation.handleAuth(ControlChannel::control, fields);
    return onlyAnswer();
  }
  JsonObject control(ControlAuthorisation& authorisation, const JsonObject& fields) {
    lastPermitted_.reset();
    authorisation.handleControl(ControlChannel::control, fields,
                                [this](bool permitted) { lastPermitted_ = permitted; });
    return onlyAnswer();
  }
  JsonObject onlyAnswer() {
    const QList<Sent> sent = sender_.take();
    EXPECT_EQ(sent.size(), 1);
    return sent.isEmpty() ? JsonObject() : sent[0].message;
  }
  static JsonObject authed(bool ok) { return {{u"type"_s, u"auth"_s}, {u"ok"_s, ok}}; }
  static JsonObject state(bool enabled) { return {{u"type"_s, u"control_state"_s}, {u"enabled"_s, enabled}}; }

  fakes::RecordedLog log_;
  fakes::FakeControlSender sender_;
  bool accessible_ = true;
  std::optional<bool> lastPermitted_;
  bool promptsUser_ = false;
  std::deque<std::function<void(bool)>> prompts_;
  int accessibilityChecks_ = 0;
  int ended_ = 0;
};

const JsonObject kRightToken{{u"token"_s, u"000042"_s}};
const JsonObject kEnable{{u"enable"_s, true}};
const JsonObject kDisable{{u"enable"_s, false}};

TEST_F(ControlAuthorisationTest, startsWithoutRightsButWithConsent) {
  const ControlAuthorisation authorisation = make();
  EXPECT_FALSE(authorisation.controlAuthed());
  EXPECT_FALSE(authorisation.controlEnabled());
  EXPECT_TRUE(authorisation.isAllowRemoteControl());
  EXPECT_FALSE(isOpen(Gate::input, authorisation.rights()));
  EXPECT_FALSE(isOpen(Gate::command, authorisation.rights()));
  EXPECT_EQ(authorisation.getPIN(), u"000042"_s);
  EXPECT_FALSE(authorisation.isPinLocked());
}

TEST_F(ControlAuthorisationTest, acceptsThePinAndNothingElse) {
  ControlAuthorisation authorisation = make();
  EXPECT_EQ(auth(authorisation, kRightToken), authed(true));
  EXPECT_EQ(log_.lines(), QStringList{u"[control] auth=true"_s});
  for (const JsonObject& wrong :
       {JsonObject{{u"token"_s, u"42"_s}}, JsonObject{{u"token"_s, 42}}, JsonObject{{u"token"_s, u" 000042"_s}},
        JsonObject{{u"token"_s, u"000042 "_s}}, JsonObject{{u"token"_s, u""_s}}, JsonObject{},
        JsonObject{{u"token"_s, QJsonValue()}}, JsonObject{{u"token"_s, JsonObject{}}}}) {
    log_.clear();
    EXPECT_EQ(auth(authorisation, wrong), authed(false)) << toJson(wrong).toStdString();
    EXPECT_EQ(log_.lines(), QStringList{u"[control] auth=false"_s});
  }
}

TEST_F(ControlAuthorisationTest, comparesLettersOfThePinWithTheirCase) {
  ControlAuthorisation authorisation(
      {.controlPIN = u"Secret"_s, .pinLockedByEnv = true, .roomId = u"r"_s}, sender_,
      {.ensureAccessibility = [](const std::function<void(bool)>& answer) { answer(true); },
       .controlEnded = [] {},
       .random = {}});
  EXPECT_EQ(auth(authorisation, {{u"token"_s, u"secret"_s}}), authed(false));
  EXPECT_EQ(auth(authorisation, {{u"token"_s, u"Secret"_s}}), authed(true));
}

TEST_F(ControlAuthorisationTest, forgetsAnEarlierSuccessAfterAFailure) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  auth(authorisation, {{u"token"_s, u"x"_s}});
  EXPECT_FALSE(authorisation.controlAuthed());
  EXPECT_FALSE(isOpen(Gate::command, authorisation.rights()));
}

TEST_F(ControlAuthorisationTest, allowsAnyNumberOfAttempts) {
  ControlAuthorisation authorisation = make();
  for (int i = 0; i < 1000; ++i) auth(authorisation, {{u"token"_s, QString::number(i)}});
  EXPECT_EQ(auth(authorisation, kRightToken), authed(true));
}

TEST_F(ControlAuthorisationTest, acceptsAnyPinInTheDemoRoomOnly) {
  ControlAuthorisation demo = make(u"demo"_s);
  EXPECT_EQ(auth(demo, {}), authed(true));
  EXPECT_EQ(auth(demo, {{u"token"_s, u"x"_s}}), authed(true));
  for (const QString& room : {u"Demo"_s, u"demo "_s, u""_s}) {
    ControlAuthorisation other = make(room);
    EXPECT_EQ(auth(other, {}), authed(false)) << room.toStdString();
    EXPECT_FALSE(isOpen(Gate::command, other.rights()));
  }
}

TEST_F(ControlAuthorisationTest, grantsCommandsInTheDemoRoomWithoutAPinWhileTheUserConsents) {
  ControlAuthorisation demo = make(u"demo"_s);
  EXPECT_TRUE(isOpen(Gate::command, demo.rights()));
  EXPECT_EQ(control(demo, kEnable), state(true));
  demo.setAllowRemoteControl(false);
  EXPECT_FALSE(isOpen(Gate::command, demo.rights()));
}

// Every combination of what "control" depends on.
TEST_F(ControlAuthorisationTest, enablesControlOnlyWhenEverythingAllowsIt) {
  for (unsigned bits = 0; bits < 32; ++bits) {
    const bool wanted = bits & 1U;
    const bool allowed = bits & 2U;
    const bool hasPin = bits & 4U;
    const bool demo = bits & 8U;
    accessible_ = bits & 16U;
    ControlAuthorisation authorisation = make(demo ? u"demo"_s : u"r"_s);
    authorisation.setAllowRemoteControl(allowed);
    auth(authorisation, hasPin ? kRightToken : JsonObject{});
    const bool enabled = wanted && allowed && (hasPin || demo) && accessible_;
    EXPECT_EQ(control(authorisation, {{u"enable"_s, wanted}}), state(enabled)) << bits;
    EXPECT_EQ(isOpen(Gate::input, authorisation.rights()), enabled) << bits;
    EXPECT_EQ(isOpen(Gate::command, authorisation.rights()), allowed && (hasPin || demo)) << bits;
    EXPECT_EQ(lastPermitted_, accessible_) << bits;
  }
}

TEST_F(ControlAuthorisationTest, countsAMissingOrMistypedEnableAsFalse) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  for (const JsonObject& fields : {JsonObject{}, JsonObject{{u"enable"_s, 1}}, JsonObject{{u"enable"_s, u"true"_s}},
                                   JsonObject{{u"enable"_s, QJsonValue()}}, JsonObject{{u"enable"_s, JsonObject{}}}}) {
    control(authorisation, kEnable);
    EXPECT_EQ(control(authorisation, fields), state(false)) << toJson(fields).toStdString();
    EXPECT_FALSE(isOpen(Gate::input, authorisation.rights()));
  }
}

TEST_F(ControlAuthorisationTest, logsTheOutcomeOfEveryControlMessage) {
  ControlAuthorisation authorisation = make();
  control(authorisation, kEnable);
  auth(authorisation, kRightToken);
  control(authorisation, kEnable);
  EXPECT_EQ(log_.lines(),
            (QStringList{u"[control] enabled=false"_s, u"[control] auth=true"_s, u"[control] enabled=true"_s}));
}

TEST_F(ControlAuthorisationTest, asksForThePermissionWhetherItEnablesOrDisables) {
  ControlAuthorisation authorisation = make();
  control(authorisation, kDisable);
  control(authorisation, kEnable);
  EXPECT_EQ(accessibilityChecks_, 2);
}

TEST_F(ControlAuthorisationTest, saysWhichPermissionIsMissing) {
  ControlAuthorisation authorisation = make();
  authorisation.sendPermissionRequired(ControlChannel::control);
  EXPECT_EQ(sender_.sent,
            (QList<Sent>{{ControlChannel::reliable,
                          {{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"accessibility"_s}}}}));
}

TEST_F(ControlAuthorisationTest, endsControlWhenTheUserWithdrawsConsent) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  control(authorisation, kEnable);
  authorisation.setAllowRemoteControl(false);
  EXPECT_FALSE(isOpen(Gate::input, authorisation.rights()));
  EXPECT_FALSE(isOpen(Gate::command, authorisation.rights()));
  EXPECT_TRUE(authorisation.controlAuthed());
  EXPECT_EQ(ended_, 1);
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::reliable, state(false)}}));
  EXPECT_EQ(control(authorisation, kEnable), state(false));
}

TEST_F(ControlAuthorisationTest, enablesNothingWhenConsentReturns) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  control(authorisation, kEnable);
  authorisation.setAllowRemoteControl(false);
  sender_.take();
  authorisation.setAllowRemoteControl(true);
  EXPECT_FALSE(isOpen(Gate::input, authorisation.rights()));
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(control(authorisation, kEnable), state(true));
}

TEST_F(ControlAuthorisationTest, saysNothingWhenConsentGoesWhileControlIsOff) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  authorisation.setAllowRemoteControl(false);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(ended_, 0);
}

TEST_F(ControlAuthorisationTest, sendsTheStateOnTheFirstOpenChannel) {
  ControlAuthorisation authorisation = make();
  authorisation.notifyControlState();
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::reliable, state(false)}}));
  sender_.reliable.open = false;
  authorisation.notifyControlState();
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::control, state(false)}}));
  sender_.control.open = false;
  authorisation.notifyControlState();
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ControlAuthorisationTest, dropsEverythingWhenAChannelCloses) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  control(authorisation, kEnable);
  log_.clear();
  authorisation.resetOnChannelClose();
  EXPECT_FALSE(authorisation.controlAuthed());
  EXPECT_FALSE(isOpen(Gate::input, authorisation.rights()));
  EXPECT_EQ(ended_, 1);
  EXPECT_EQ(log_.lines(), QStringList{u"[control] reset state on channel close"_s});
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ControlAuthorisationTest, tellsOnlyOnceThatControlEnded) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  control(authorisation, kEnable);
  control(authorisation, kEnable);
  EXPECT_EQ(ended_, 0);
  control(authorisation, kDisable);
  control(authorisation, kDisable);
  authorisation.resetOnChannelClose();
  EXPECT_EQ(ended_, 1);
}

TEST_F(ControlAuthorisationTest, drawsANewPinAndKeepsTheViewerAuthorised) {
  ControlAuthorisation authorisation = make();
  auth(authorisation, kRightToken);
  control(authorisation, kEnable);
  log_.clear();
  authorisation.regeneratePIN();
  EXPECT_EQ(authorisation.getPIN(), u"000007"_s);
  EXPECT_EQ(log_.lines(), QStringList{u"[control] new PIN: 000007"_s});
  EXPECT_TRUE(authorisation.controlAuthed());
  EXPECT_TRUE(isOpen(Gate::input, authorisation.rights()));
  EXPECT_EQ(auth(authorisation, kRightToken), authed(false));
  EXPECT_EQ(auth(authorisation, {{u"token"_s, u"000007"_s}}), authed(true));
}

TEST_F(ControlAuthorisationTest, leavesALockedPinAloneWithoutALogLine) {
  ControlAuthorisation authorisation = make(u"r"_s, true);
  authorisation.regeneratePIN();
  EXPECT_TRUE(authorisation.isPinLocked());
  EXPECT_EQ(authorisation.getPIN(), u"000042"_s);
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ControlAuthorisationTest, answersInOrderWhenTheUserHasDecided) {
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

TEST_F(ControlAuthorisationTest, decidesByTheRightsAtTheTimeOfTheReply) {
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
TEST_F(ControlAuthorisationTest, dropsRequestsThatWaitWhenAChannelCloses) {
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

TEST_F(ControlAuthorisationTest, answersTheNextViewerWithTheReplyThatTheUserGivesMeanwhile) {
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

TEST_F(ControlAuthorisationTest, takesARequestThatIsMadeWithinAReply) {
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

TEST_F(ControlAuthorisationTest, keepsABoundedNumberOfRequestsWaiting) {
  promptsUser_ = true;
  ControlAuthorisation authorisation = make();
  for (int i = 0; i < 1000; ++i) authorisation.handleControl(ControlChannel::control, kEnable, [](bool) {});
  ASSERT_EQ(prompts_.size(), 1U);
  prompts_[0](false);
  EXPECT_EQ(static_cast<std::size_t>(sender_.take().size()), std::size_t{ControlAuthorisation::kMaxWaiting});
  authorisation.handleControl(ControlChannel::control, kEnable, [](bool) {});
  EXPECT_EQ(prompts_.size(), 2U);
}

TEST_F(ControlAuthorisationTest, answersForADesktopThatClosesBeforeItsUserHasDecided) {
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

TEST_F(ControlAuthorisationTest, endsControlWithTheDesktop) {
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

TEST_F(ControlAuthorisationTest, survivesAnAnswerAfterItsEnd) {
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
