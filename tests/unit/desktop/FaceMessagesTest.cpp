#include <gtest/gtest.h>

#include "main/desktop/FaceMessages.h"
#include "main/desktop/RemoteFace.h"

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

TEST(FaceMessages, carryTheWholeState) { EXPECT_EQ(hostStateOf(toMessage(kState)), kState); }

TEST(FaceMessages, refuseAStateThatLacksAFieldOrHasAnotherType) {
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

TEST(FaceMessages, carryEveryRequest) {
  for (const auto action :
       {FaceAction::startSharing, FaceAction::stopSharing, FaceAction::regeneratePin, FaceAction::quit}) {
    EXPECT_EQ(faceRequestOf(toMessage(FaceRequest{.action = action})), FaceRequest{.action = action});
  }
  for (const auto action : {FaceAction::setAllowRemoteControl, FaceAction::setFileReceiveAllowed}) {
    for (const bool allowed : {false, true}) {
      const FaceRequest request{.action = action, .allowed = allowed};
      EXPECT_EQ(faceRequestOf(toMessage(request)), request);
    }
  }
}

TEST(FaceMessages, refuseUnknownRequests) {
  EXPECT_FALSE(faceRequestOf({{u"type"_s, u"action"_s}}));
  EXPECT_FALSE(faceRequestOf({{u"name"_s, u"reboot"_s}}));
  EXPECT_FALSE(faceRequestOf({{u"name"_s, u"allow_files"_s}}));
}

TEST(RemoteFace, tellsOfChangesOnly) {
  RemoteFace face([](const JsonObject&) {});
  int changes = 0;
  face.setChangedHandler([&] { ++changes; });
  EXPECT_TRUE(face.take(toMessage(kState)));
  EXPECT_TRUE(face.take(toMessage(kState)));
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(face.state(), kState);
  EXPECT_FALSE(face.take({{u"type"_s, u"state"_s}}));
  EXPECT_EQ(face.state(), kState);
}

TEST(RemoteFace, sendsEveryAction) {
  QList<JsonObject> sent;
  RemoteFace face([&](const JsonObject& message) { sent.append(message); });
  face.startSharing();
  face.stopSharing();
  face.regeneratePIN();
  face.setAllowRemoteControl(true);
  face.setFileReceiveAllowed(true);
  face.quit();
  ASSERT_EQ(sent.size(), 6);
  EXPECT_EQ(faceRequestOf(sent[0])->action, FaceAction::startSharing);
  EXPECT_EQ(faceRequestOf(sent[1])->action, FaceAction::stopSharing);
  EXPECT_EQ(faceRequestOf(sent[2])->action, FaceAction::regeneratePin);
  EXPECT_EQ(*faceRequestOf(sent[3]), (FaceRequest{FaceAction::setAllowRemoteControl, true}));
  EXPECT_EQ(*faceRequestOf(sent[4]), (FaceRequest{FaceAction::setFileReceiveAllowed, true}));
  EXPECT_EQ(faceRequestOf(sent[5])->action, FaceAction::quit);
  face.sendChat(u"hi"_s);
  EXPECT_EQ(sent[6], (JsonObject{{u"type"_s, u"chat_send"_s}, {u"text"_s, u"hi"_s}}));
}

}  // namespace
}  // namespace vantora
