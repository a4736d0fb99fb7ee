#include <gtest/gtest.h>

#include "main/desktop/SessionProxy.h"
#include "main/desktop/UiMessages.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

const HostState kState{.iceState = IceState::disconnected,
                       .qualityPreset = u"high"_s,
                       .roomId = u"rööm"_s,
                       .controlPIN = u"000042"_s,
                       .pinLockedByEnv = true,
                       .sharingEnabled = true,
                       .allowRemoteControl = false,
                       .allowIncomingFiles = false};

TEST(UiMessages, carryTheWholeState) { EXPECT_EQ(hostStateOf(toMessage(kState)), kState); }

TEST(UiMessages, refuseAStateThatLacksAFieldOrHasAnotherType) {
  const JsonObject whole = toMessage(kState);
  for (const QString& key : whole.keys()) {
    if (key == u"type"_s) continue;
    JsonObject lacking = whole;
    lacking.remove(key);
    EXPECT_FALSE(hostStateOf(lacking)) << key.toStdString();
    JsonObject wrong = whole;
    wrong.insert(key, QJsonValue::Null);
    EXPECT_FALSE(hostStateOf(wrong)) << key.toStdString();
  }
  JsonObject beyond = whole;
  beyond.insert(u"ice"_s, 8);
  EXPECT_FALSE(hostStateOf(beyond));
}

TEST(UiMessages, carryEveryRequest) {
  for (const auto action : {UiAction::startSharing, UiAction::stopSharing, UiAction::regeneratePin, UiAction::quit}) {
    EXPECT_EQ(uiRequestOf(toMessage(UiRequest{.action = action})), UiRequest{.action = action});
  }
  for (const auto action : {UiAction::setAllowRemoteControl, UiAction::setFileReceiveAllowed}) {
    for (const bool allowed : {false, true}) {
      const UiRequest request{.action = action, .allowed = allowed};
      EXPECT_EQ(uiRequestOf(toMessage(request)), request);
    }
  }
}

TEST(UiMessages, refuseUnknownRequests) {
  EXPECT_FALSE(uiRequestOf({{u"type"_s, u"action"_s}}));
  EXPECT_FALSE(uiRequestOf({{u"name"_s, u"reboot"_s}}));
  EXPECT_FALSE(uiRequestOf({{u"name"_s, u"allow_files"_s}}));
}

TEST(SessionProxy, reportsChangesOnly) {
  SessionProxy proxy([](const JsonObject&) {});
  int changes = 0;
  proxy.setChangedHandler([&] { ++changes; });
  EXPECT_TRUE(proxy.take(toMessage(kState)));
  EXPECT_TRUE(proxy.take(toMessage(kState)));
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(proxy.state(), kState);
  EXPECT_FALSE(proxy.take({{u"type"_s, u"state"_s}}));
  EXPECT_EQ(proxy.state(), kState);
}

TEST(SessionProxy, sendsEveryAction) {
  QList<JsonObject> sent;
  SessionProxy proxy([&](const JsonObject& message) { sent.append(message); });
  proxy.startSharing();
  proxy.stopSharing();
  proxy.regeneratePIN();
  proxy.setAllowRemoteControl(true);
  proxy.setFileReceiveAllowed(true);
  proxy.quit();
  ASSERT_EQ(sent.size(), 6);
  EXPECT_EQ(uiRequestOf(sent[0])->action, UiAction::startSharing);
  EXPECT_EQ(uiRequestOf(sent[1])->action, UiAction::stopSharing);
  EXPECT_EQ(uiRequestOf(sent[2])->action, UiAction::regeneratePin);
  EXPECT_EQ(*uiRequestOf(sent[3]), (UiRequest{UiAction::setAllowRemoteControl, true}));
  EXPECT_EQ(*uiRequestOf(sent[4]), (UiRequest{UiAction::setFileReceiveAllowed, true}));
  EXPECT_EQ(uiRequestOf(sent[5])->action, UiAction::quit);
  proxy.sendChat(u"hi"_s);
  EXPECT_EQ(sent[6], (JsonObject{{u"type"_s, u"chat_send"_s}, {u"text"_s, u"hi"_s}}));
}

}  // namespace
}  // namespace vantora
