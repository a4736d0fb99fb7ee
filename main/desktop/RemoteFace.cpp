#include "main/desktop/RemoteFace.h"

#include "main/desktop/FaceMessages.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

bool RemoteFace::take(const JsonObject& message) {
  auto state = hostStateOf(message);
  if (!state) return false;
  if (*state == state_) return true;
  state_ = *std::move(state);
  if (changed_) changed_();
  return true;
}

void RemoteFace::startSharing() { send_(toMessage(FaceRequest{.action = FaceAction::startSharing})); }
void RemoteFace::stopSharing() { send_(toMessage(FaceRequest{.action = FaceAction::stopSharing})); }
void RemoteFace::regeneratePIN() { send_(toMessage(FaceRequest{.action = FaceAction::regeneratePin})); }
void RemoteFace::quit() { send_(toMessage(FaceRequest{.action = FaceAction::quit})); }

void RemoteFace::setAllowRemoteControl(bool allowed) {
  send_(toMessage(FaceRequest{.action = FaceAction::setAllowRemoteControl, .allowed = allowed}));
}

void RemoteFace::setFileReceiveAllowed(bool allowed) {
  send_(toMessage(FaceRequest{.action = FaceAction::setFileReceiveAllowed, .allowed = allowed}));
}

void RemoteFace::sendChat(const QString& text) { send_({{u"type"_s, u"chat_send"_s}, {u"text"_s, text}}); }

}  // namespace vantora
