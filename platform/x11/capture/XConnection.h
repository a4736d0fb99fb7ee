// An Xlib connection as the capture needs it. Xlib's own headers are hidden: their macros break Qt and the WebRTC
// library.
#pragma once

#include <atomic>
#include <memory>
#include <string>

struct _XDisplay;

namespace vantora::x11 {

struct CloseConnection {
  void operator()(_XDisplay* connection) const;
};
using Connection = std::unique_ptr<_XDisplay, CloseConnection>;

// Null if there is no such server. Waits without limit for one that does not respond.
Connection connect(const std::string& displayName);

// Makes errors on Xlib connections harmless to the process: failed requests are ignored. Any thread; to be called
// before the first connection is opened.
void ignoreRequestErrors();

// From now on the loss of the server sets `lost` instead of ending the process; all later calls on the connection then
// fail. `lost` must outlive the connection.
void surviveServerLoss(_XDisplay* connection, std::atomic<bool>* lost);

// From now on the connection is served even while another program has grabbed the server, as some do while the user
// drags an outline or selects a region: the viewer must see that too.
void ignoreServerGrabs(_XDisplay* connection);

// The socket, to be polled for events. Owned by the connection.
int socketOf(_XDisplay* connection);

// Whether an event is available without waiting. Reads from the socket.
bool hasEvents(_XDisplay* connection);

// Xlib's name of a display: `name`, or that of the default display when empty.
std::string displayName(const std::string& name);

}  // namespace vantora::x11
