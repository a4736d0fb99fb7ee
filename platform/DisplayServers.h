// Which display servers reply at the moment.
#pragma once

#include <QString>
#include <functional>

namespace vantora {

// An X server that is silent, such as a stopped one, counts as absent.
enum class XServerKind { absent, native, xwayland };

// Lookups of the servers that an environment names. Any thread.
struct DisplayServers {
  // The X server `display`, such as ":0".
  std::function<XServerKind(const QString& display)> xServer;
  // Whether a Wayland compositor accepts connections at `socket`, an absolute path.
  std::function<bool(const QString& socket)> compositor;
};

// Those of this machine. A lookup opens a connection of its own and closes it again, in about a millisecond; it waits
// at most X11Connection::kTimeout for each reply of an X server.
DisplayServers displayServers();

}  // namespace vantora
