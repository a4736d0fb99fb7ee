// The viewer's rights: the PIN, the viewer's authorisation and the local user's consent.
#pragma once

#include <QString>
#include <deque>
#include <functional>

#include "base/Json.h"
#include "base/Lifetime.h"
#include "base/Random.h"
#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "main/control/dispatch/ControlRights.h"

namespace vantora {

// Thread: main. Owner: Host. Lives across peer connections; the rights that a viewer gained are dropped when a control
// channel closes.
class ControlAuthorisation {
 public:
  struct Settings {
    QString controlPIN;
    bool pinLockedByEnv = false;
    QString roomId;
  };
  struct Callbacks {
    // Asks whether this process may post input events at all. May show the desktop's own prompt; the reply may then
    // take minutes. Not called again before `answer` was.
    std::function<void(std::function<void(bool permitted)> answer)> ensureAccessibility;
    // Control was on and is now off: all keys and buttons that the viewer holds down must be released.
    std::function<void()> controlEnded;
    RandomBelow random;
  };

  // `sender` must outlive this object.
  ControlAuthorisation(Settings settings, ControlSender& sender, Callbacks callbacks);

  QString getPIN() const { return settings_.controlPIN; }
  bool isPinLocked() const { return settings_.pinLockedByEnv; }
  bool isAllowRemoteControl() const { return allowRemoteControl_; }
  bool controlEnabled() const { return controlEnabled_; }
  bool controlAuthed() const { return controlAuthed_; }

  // A new random PIN, unless the environment fixed it. A viewer that is authorised stays so.
  void regeneratePIN();
  // The local user's consent. Withdrawing it ends control at once and notifies the viewer.
  void setAllowRemoteControl(bool allow);
  // Sends "control_state" on "control_reliable" when that is open, else on "control".
  void notifyControlState();
  // The desktop takes no input any more: control ends at once and the viewer is notified; requests that wait for the
  // desktop are answered as not permitted.
  void desktopClosed();
  // A control channel closed or the viewer was replaced: all its rights are dropped, and so are its requests that wait
  // for the desktop.
  void resetOnChannelClose();

  // The rights decided here. The right to send files is not set: it is decided elsewhere.
  ControlRights rights() const;

  // "auth": answers whether the token is the PIN.
  void handleAuth(ControlChannel origin, const JsonObject& message);
  // "control": switches remote control on or off once the desktop has reported whether input can be posted. `done` is
  // called after the reply, so that the caller can acknowledge and, when not permitted, call sendPermissionRequired();
  // it is not called when a control channel closed meanwhile. Requests are answered in their order; those beyond
  // kMaxWaiting that wait for the desktop are dropped.
  void handleControl(ControlChannel origin, const JsonObject& message, std::function<void(bool permitted)> done);
  static constexpr std::size_t kMaxWaiting = 32;
  void sendPermissionRequired(ControlChannel origin);

 private:
  // A request that waits for the desktop.
  struct ControlChange {
    ControlChannel origin;
    bool wanted = false;
    std::function<void(bool permitted)> done;
  };
  void answerWaiting(bool permitted);
  void endControl();
  bool isDemoRoom() const;
  void setControlEnabled(bool enabled);
  JsonObject controlState() const;

  Settings settings_;
  ControlSender& sender_;
  Callbacks callbacks_;
  bool controlEnabled_ = false;
  bool controlAuthed_ = false;
  bool allowRemoteControl_ = true;
  bool desktopAsked_ = false;
  int question_ = 0;  // The number of the last request to the desktop: replies to others come too late.
  std::deque<ControlChange> waiting_;
  // Last: the desktop may reply after this object was destroyed.
  Lifetime life_;
};

// Installs the handlers of "auth" and "control". `authorisation` must outlive `dispatcher`. Main thread.
void bindAuthorisationMessages(ControlDispatcher& dispatcher, ControlAuthorisation& authorisation);

}  // namespace vantora
