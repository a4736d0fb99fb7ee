#include "platform/x11/capture/XConnection.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <mutex>

namespace vantora::x11 {
namespace {

int ignoreError(Display*, XErrorEvent*) { return 0; }

// Replaces Xlib's message on standard error, which is reserved for the program's own log. The exit handler of each
// connection decides what happens next.
int ignoreIoError(Display*) { return 0; }

void noteLoss(Display*, void* lost) { static_cast<std::atomic<bool>*>(lost)->store(true); }

}  // namespace

void CloseConnection::operator()(_XDisplay* connection) const { XCloseDisplay(connection); }

Connection connect(const std::string& displayName) {
  return Connection(XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str()));
}

void ignoreRequestErrors() {
  static std::once_flag once;
  std::call_once(once, [] {
    XInitThreads();
    XSetErrorHandler(ignoreError);
    XSetIOErrorHandler(ignoreIoError);
  });
}

void surviveServerLoss(_XDisplay* connection, std::atomic<bool>* lost) {
  XSetIOErrorExitHandler(connection, noteLoss, lost);
}

void ignoreServerGrabs(_XDisplay* connection) {
  int event = 0;
  int error = 0;
  int major = 0;
  int minor = 0;
  if (XTestQueryExtension(connection, &event, &error, &major, &minor)) XTestGrabControl(connection, True);
}

int socketOf(_XDisplay* connection) { return ConnectionNumber(connection); }

bool hasEvents(_XDisplay* connection) { return XEventsQueued(connection, QueuedAfterReading) > 0; }

std::string displayName(const std::string& name) { return XDisplayName(name.empty() ? nullptr : name.c_str()); }

}  // namespace vantora::x11
