#include "main/desktop/UiMessages.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

struct ActionName {
  UiAction action;
  QLatin1StringView name;
  bool allows;
};

constexpr std::array kActions{
    ActionName{UiAction::startSharing, "start_sharing"_L1, false},
    ActionName{UiAction::stopSharing, "stop_sharing"_L1, false},
    ActionName{UiAction::regeneratePin, "regenerate_pin"_L1, false},
    ActionName{UiAction::setAllowRemoteControl, "allow_remote_control"_L1, true},
    ActionName{UiAction::setFileReceiveAllowed, "allow_files"_L1, true},
    ActionName{UiAction::quit, "quit"_L1, false},
};

}  // namespace

JsonObject toMessage(const HostState& state) {
  return {{u"type"_s, u"state"_s},
          {u"ice"_s, static_cast<int>(state.iceState)},
          {u"preset"_s, state.qualityPreset},
          {u"room"_s, state.roomId},
          {u"pin"_s, state.controlPIN},
          {u"pinLocked"_s, state.pinLockedByEnv},
          {u"sharing"_s, state.sharingEnabled},
          {u"control"_s, state.allowRemoteControl},
          {u"files"_s, state.allowIncomingFiles}};
}

std::optional<HostState> hostStateOf(const JsonObject& message) {
  const auto ice = integerField(message, "ice"_L1);
  const auto preset = stringField(message, "preset"_L1);
  const auto room = stringField(message, "room"_L1);
  const auto pin = stringField(message, "pin"_L1);
  const auto locked = boolField(message, "pinLocked"_L1);
  const auto sharing = boolField(message, "sharing"_L1);
  const auto control = boolField(message, "control"_L1);
  const auto files = boolField(message, "files"_L1);
  if (!ice || *ice < 0 || *ice > static_cast<int>(IceState::count)) return std::nullopt;
  if (!preset || !room || !pin || !locked || !sharing || !control || !files) return std::nullopt;
  return HostState{.iceState = static_cast<IceState>(*ice),
                   .qualityPreset = *preset,
                   .roomId = *room,
                   .controlPIN = *pin,
                   .pinLockedByEnv = *locked,
                   .sharingEnabled = *sharing,
                   .allowRemoteControl = *control,
                   .allowIncomingFiles = *files};
}

JsonObject toMessage(const UiRequest& request) {
  const auto row = std::ranges::find(kActions, request.action, &ActionName::action);
  JsonObject message{{u"type"_s, u"action"_s}, {u"name"_s, QString(row->name)}};
  if (row->allows) message.insert(u"allowed"_s, request.allowed);
  return message;
}

std::optional<UiRequest> uiRequestOf(const JsonObject& message) {
  const auto name = stringField(message, "name"_L1);
  if (!name) return std::nullopt;
  const auto row = std::ranges::find(kActions, *name, [](const ActionName& action) { return QString(action.name); });
  if (row == kActions.end()) return std::nullopt;
  UiRequest request{.action = row->action};
  if (row->allows) {
    const auto allowed = boolField(message, "allowed"_L1);
    if (!allowed) return std::nullopt;
    request.allowed = *allowed;
  }
  return request;
}

}  // namespace vantora
