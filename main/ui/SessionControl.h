// What the user interface sees of the session.
#pragma once

#include <QString>
#include <functional>

#include "base/IceState.h"

namespace vantora {

// Everything the menu shows, as one value.
struct HostState {
  IceState iceState = IceState::initial;
  QString qualityPreset;
  QString roomId;
  QString controlPIN;
  bool pinLockedByEnv = false;
  bool sharingEnabled = false;
  bool allowRemoteControl = true;
  bool allowIncomingFiles = true;

  bool operator==(const HostState&) const = default;
};

// The session as its user interface sees it: the state to show and the actions a person may take. The session runs in
// another process than the interface, so actions return at once and show in state() a moment later. Thread: main (of
// the user interface). Everything does nothing when the session is gone.
class SessionControl {
 public:
  virtual ~SessionControl() = default;
  virtual const HostState& state() const = 0;
  // Called after every change of state(); may be empty.
  virtual void setChangedHandler(std::function<void()> handler) = 0;

  virtual void startSharing() = 0;
  virtual void stopSharing() = 0;
  // Ignored while the PIN is locked.
  virtual void regeneratePIN() = 0;
  // Withdrawing the permission also ends control that the viewer holds, and tells the viewer.
  virtual void setAllowRemoteControl(bool allowed) = 0;
  virtual void setFileReceiveAllowed(bool allowed) = 0;
  // Sends `text` to the room, trimmed and cut to 1400 characters; sends nothing if it is then empty.
  virtual void sendChat(const QString& text) = 0;
  // Ends the program.
  virtual void quit() = 0;
};

}  // namespace vantora
