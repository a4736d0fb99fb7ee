// The session, as seen from the desktop process.
#pragma once

#include "main/desktop/DesktopLink.h"
#include "main/ui/SessionControl.h"

namespace vantora {

// Keeps the last state that the session sent and turns actions into messages to it. Thread: main of the desktop
// process. Owner: runDesktopProcess; `send` must stay callable as long as this object lives.
class SessionProxy final : public SessionControl {
 public:
  explicit SessionProxy(std::function<void(const JsonObject&)> send) : send_(std::move(send)) {}

  // Applies a "state" message and returns true; a malformed one changes nothing and returns false.
  bool take(const JsonObject& message);

  const HostState& state() const override { return state_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void startSharing() override;
  void stopSharing() override;
  void regeneratePIN() override;
  void setAllowRemoteControl(bool allowed) override;
  void setFileReceiveAllowed(bool allowed) override;
  void sendChat(const QString& text) override;
  void quit() override;

 private:
  std::function<void(const JsonObject&)> send_;
  std::function<void()> changed_;
  HostState state_;
};

}  // namespace vantora
