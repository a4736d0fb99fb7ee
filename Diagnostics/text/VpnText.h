#pragma once

#include <QString>
#include <QStringList>
#include <vector>

// Connected VPNs. Pure functions, any thread.
namespace vantora::Diagnostics {

// A network interface of the kernel that may be a tunnel.
struct Link {
  QString name;
  bool up = false;
  bool wireguard = false;
  bool tun = false;  // carries packets to a program; a tap device, as virtual machines use it, is not one
};

// The names of the connected VPNs: the network manager's own (`nmcli -t -f NAME,TYPE,DEVICE connection show --active`)
// and tunnels that it knows nothing of, by the interface's name.
[[nodiscard]] QStringList vpnNames(const QString& nmcliConnections, const std::vector<Link>& links);

}  // namespace vantora::Diagnostics
