#include "platform/DisplayServers.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QFile>
#include <cstring>

#include "platform/x11/X11Connection.h"
#include "platform/x11/Xwayland.h"

namespace vantora {
namespace {

XServerKind kindOfXServer(const QString& display) {
  X11Connection server(display);
  if (server.open() == nullptr) return XServerKind::absent;
  const bool xwayland = isXwayland(server);
  if (!server.roundTrip()) return XServerKind::absent;
  return xwayland ? XServerKind::xwayland : XServerKind::native;
}

bool acceptsConnections(const QString& socket) {
  const QByteArray path = QFile::encodeName(socket);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.isEmpty() || path.size() >= static_cast<qsizetype>(sizeof address.sun_path)) return false;
  std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
  // Not blocking: a compositor with a full queue of connections exists, too.
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return false;
  const bool accepted =
      ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno == EAGAIN;
  ::close(descriptor);
  return accepted;
}

}  // namespace

DisplayServers displayServers() { return {.xServer = kindOfXServer, .compositor = acceptsConnections}; }

}  // namespace vantora
