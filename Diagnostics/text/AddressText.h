#pragma once

#include <QString>
#include <QStringList>
#include <vector>

#include "Diagnostics/Options.h"

// Addresses, routes and resolvers. Pure functions, any thread.
namespace vantora::Diagnostics {

// The default route. Empty texts when there is none.
struct DefaultRoute {
  QString interface;  // of the preferred default route
  QString gateway;    // of the preferred one that has a gateway; link-local ones with their scope
};

// /proc/net/route and /proc/net/ipv6_route.
[[nodiscard]] DefaultRoute parseProcRoute(const QString& text);
[[nodiscard]] DefaultRoute parseProcIpv6Route(const QString& text);

// The resolvers of a resolv.conf, in their order.
[[nodiscard]] QStringList nameservers(const QString& resolvConf);
// The first resolver named by `resolvectl dns`; "" when there is none.
[[nodiscard]] QString firstResolvectlServer(const QString& text);
// Whether this resolver only forwards within the machine.
[[nodiscard]] bool isLocalStub(const QString& server);

// The machine's address: the first IPv4 address of `interface`, else of any interface but loopback, else the first IPv6
// address that is valid beyond the link, in the same order; "" when there is none.
[[nodiscard]] QString primaryAddress(const std::vector<InterfaceAddress>& addresses, const QString& interface);

}  // namespace vantora::Diagnostics
