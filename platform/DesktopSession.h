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
  starting,         // Not known yet what the desktop offers.
  awaitingConsent,  // The person at it has been asked.
  ready,
  refused,  // The desktop or the person said no; asked again, they may say yes.
  closed,   // It has ended or taken back what it gave.
};

struct DesktopStatus {
  DesktopState state = DesktopState::starting;
  // Why, in words for the log; of refused and closed.
  QString reason = {};
  bool operator==(const DesktopStatus&) const = default;
};

// Hands out everything that a desktop can do. An ability that is missing is an object that says so. Nothing here waits
// for a person: what needs consent answers later. Thread: main. Owner: HostAppDelegate;
// outlives everything that uses it, and what it hands out dies with it.
class DesktopSession {
 public:
  virtual ~DesktopSession() = default;

  virtual DesktopStatus status() const = 0;
  // Called after every change of status(), on the main thread; empty for nobody.
  virtual void setStatusHandler(std::function<void(const DesktopStatus&)> handler) = 0;

  virtual Displays& displays() = 0;
  virtual DesktopInput& input() = 0;
  virtual SystemCursor& cursor() = 0;
  virtual Clipboard& clipboard() = 0;
  virtual Accessibility& accessibility() = 0;
  virtual SupportTools& supportTools() = 0;
  // A closed capture of the screen; where there is none it refuses to open, with the reason. It may outlive the
  // session.
  virtual std::unique_ptr<ScreenCapture> makeScreenCapture() = 0;
  virtual const MachineIdentity& machine() const = 0;
  // Tells where received files go, anew at every call; empty when the desktop names no folder. The function itself is
  // for any thread and may outlive the session.
  virtual std::function<QString()> downloadFolder() const = 0;
};

}  // namespace vantora
