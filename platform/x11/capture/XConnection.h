// The few things about an Xlib connection that the capture needs and the WebRTC library does not
// offer. Xlib's own headers stay out of sight: their macros break Qt and the library.
#pragma once

#include <atomic>
#include <string>

struct _XDisplay;

namespace vantora::x11 {

// Makes errors on Xlib connections harmless to the process: requests that fail are ignored. Any
// thread; has to be called before the first connection is opened.
void ignoreRequestErrors();

// From now on the loss of the server sets `lost` instead of ending the process; calls on the
// connection then fail, one after the other. `lost` has to outlive the connection.
void surviveServerLoss(_XDisplay* connection, std::atomic<bool>* lost);

// From now on the connection is served also while another program has taken the server for itself, as
// some do while a person moves an outline or chooses a region: that is to be seen, too.
void ignoreServerGrabs(_XDisplay* connection);

// The socket, to be polled for events. Owned by the connection.
int socketOf(_XDisplay* connection);

// Whether an event can be had without waiting. Reads what the socket holds.
bool hasEvents(_XDisplay* connection);

// The name under which Xlib knows a display: `name`, or that of the default display when empty.
std::string displayName(const std::string& name);

}  // namespace vantora::x11
