// The desktop that this process runs on.
#pragma once

#include <QString>
#include <functional>
#include <memory>

#include "platform/Accessibility.h"
#include "platform/Clipboard.h"
#include "platform/DesktopInput.h"
#include "platform/Displays.h"
#include "platform/MachineIdentity.h"
#include "platform/ScreenCapture.h"
#include "platform/SupportTools.h"
#include "platform/SystemCursor.h"

namespace vantora {

enum class DesktopState {
  starting,         // The desktop's capabilities are not known yet, or nothing has needed its user's consent.
  awaitingConsent,  // The local user has been asked.
  ready,
  refused,  // The desktop or the user refused; a new request may succeed.
  closed,   // The desktop has ended or revoked its consent.
};

struct DesktopStatus {
  DesktopState state = DesktopState::starting;
  // The reason for refused and closed, for the log.
  QString reason = {};
  bool operator==(const DesktopStatus&) const = default;
};

// Gives access to all functions of a desktop. A function that is missing is represented by an object that reports so.
// No call waits for the user: functions that need consent reply later. Thread: main. Owner: HostAppDelegate; outlives
// everything that uses it. The objects it returns by reference are destroyed with it.
class DesktopSession {
 public:
  virtual ~DesktopSession() = default;

  virtual DesktopStatus status() const = 0;
  // Called after every change of status(), on the main thread; an empty handler unsubscribes.
  virtual void setStatusHandler(std::function<void(const DesktopStatus&)> handler) = 0;

  virtual Displays& displays() = 0;
  virtual DesktopInput& input() = 0;
  virtual SystemCursor& cursor() = 0;
  virtual Clipboard& clipboard() = 0;
  virtual Accessibility& accessibility() = 0;
  virtual SupportTools& supportTools() = 0;
  // A closed capture of the screen; without a screen its open() is refused, with the reason. It may outlive the
  // session.
  virtual std::unique_ptr<ScreenCapture> makeScreenCapture() = 0;
  virtual const MachineIdentity& machine() const = 0;
  // Returns the folder for received files, looked up at every call; an empty text when the desktop names no folder. The
  // returned function may be called on any thread and may outlive the session.
  virtual std::function<QString()> downloadFolder() const = 0;
};

}  // namespace vantora
