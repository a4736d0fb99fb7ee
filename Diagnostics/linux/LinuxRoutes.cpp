#include "Diagnostics/linux/LinuxRoutes.h"

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

DefaultRoute defaultRoute(const Probe& probe) {
  DefaultRoute route = parseProcRoute(probe.text(u"/proc/net/route"_s, 1 << 20));
  if (!route.interface.isEmpty()) return route;
  return parseProcIpv6Route(probe.text(u"/proc/net/ipv6_route"_s, 1 << 20));
}

QString firstResolver(const Probe& probe) {
  QString first = nameservers(probe.text(u"/etc/resolv.conf"_s)).value(0);
  if (!isLocalStub(first)) return first;
  // The resolvers behind a forwarder on this machine: systemd's keeps a list of them, the network manager may know
  // those of others.
  for (const QString& server : nameservers(probe.text(u"/run/systemd/resolve/resolv.conf"_s))) {
    if (!isLocalStub(server)) return server;
  }
  if (!probe.hasSystemBus()) return first;
  QString found;
  if (const QString tool = probe.tool(u"resolvectl"_s); !tool.isEmpty()) {
    found = firstResolvectlServer(probe.plain(tool + " dns 2>/dev/null"_L1));
  }
  if (const QString tool = probe.tool(u"nmcli"_s); found.isEmpty() && !tool.isEmpty()) {
    found = words(probe.plain(tool + " -g IP4.DNS device show 2>/dev/null"_L1)).value(0);
  }
  return found.isEmpty() ? first : found;
}

}  // namespace vantora::Diagnostics::onLinux
