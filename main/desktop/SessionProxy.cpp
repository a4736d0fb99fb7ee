#include "main/desktop/SessionProxy.h"

#include "main/desktop/UiMessages.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

bool SessionProxy::take(const JsonObject& message) {
  auto state = hostStateOf(message);
  if (!state) return false;
  if (*state == state_) return true;
  state_ = *std::move(state);
  if (changed_) changed_();
  return true;
}

void SessionProxy::startSharing() { send_(toMessage(UiRequest{.action = UiAction::startSharing})); }
void SessionProxy::stopSharing() { send_(toMessage(UiRequest{.action = UiAction::stopSharing})); }
void SessionProxy::regeneratePIN() { send_(toMessage(UiRequest{.action = UiAction::regeneratePin})); }
void SessionProxy::quit() { send_(toMessage(UiRequest{.action = UiAction::quit})); }

void SessionProxy::setAllowRemoteControl(bool allowed) {
  send_(toMessage(UiRequest{.action = UiAction::setAllowRemoteControl, .allowed = allowed}));
}

void SessionProxy::setFileReceiveAllowed(bool allowed) {
  send_(toMessage(UiRequest{.action = UiAction::setFileReceiveAllowed, .allowed = allowed}));
}

void SessionProxy::sendChat(const QString& text) { send_({{u"type"_s, u"chat_send"_s}, {u"text"_s, text}}); }

}  // namespace vantora
