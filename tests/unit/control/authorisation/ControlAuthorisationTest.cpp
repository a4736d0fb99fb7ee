#include "tests/unit/control/authorisation/AuthorisationFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using ControlAuthorisationTest = AuthorisationFixture;

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

}  // namespace
}  // namespace vantora
