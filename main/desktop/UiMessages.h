// Messages between the session and its desktop process about the user interface.
#pragma once

#include <optional>

#include "base/Json.h"
#include "main/ui/SessionControl.h"

namespace vantora {

// Session to desktop: "state" (the fields of HostState), "conversation" {number, lines: [{from, text, ts}], unread} as
// shown before, "chat" {number, from, text, ts}, "notify" {number, title, body}, "reopen" {number}, "introduce"
// {number} (the panel is to be shown if no tray takes the item).
JsonObject toMessage(const HostState& state);
// Empty when a field is missing or out of range.
std::optional<HostState> hostStateOf(const JsonObject& message);

// Desktop to session: "action" {name, allowed?}, "chat_send" {text}, "chat_shown" {number, unread} (all lines of the
// chat up to `number` are in the window, `unread` of them unseen) and "done" {number} (a notification, a repeated
// launch or the introduction was carried out; otherwise the next process gets it).
enum class UiAction {
  startSharing,
  stopSharing,
  regeneratePin,
  setAllowRemoteControl,
  setFileReceiveAllowed,
  quit,
};
struct UiRequest {
  UiAction action = UiAction::quit;
  // For the two actions that grant a permission; false for the others.
  bool allowed = false;

  bool operator==(const UiRequest&) const = default;
};
JsonObject toMessage(const UiRequest& request);
// Empty for an unknown action and for one that lacks its value.
std::optional<UiRequest> uiRequestOf(const JsonObject& message);

}  // namespace vantora
