#include "Diagnostics/text/VpnText.h"

#include "Diagnostics/text/FieldsText.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QStringList vpnNames(const QString& nmcliConnections, const std::vector<Link>& links) {
  QStringList names;
  QStringList ownDevices;
  bool ownsTunnels = false;
  for (const QString& line : trimmedLines(nmcliConnections)) {
    const QStringList fields = nmcliFields(line);
    if (fields.size() < 3 || fields[0].isEmpty()) continue;
    // A "vpn" row names the network card below it, not the tunnel it made.
    if (fields[1] == "vpn"_L1) ownsTunnels = true;
    if (fields[1] == "wireguard"_L1) ownDevices.append(fields[2]);
    if (fields[1] == "vpn"_L1 || fields[1] == "wireguard"_L1) names.append(fields[0]);
  }
  for (const Link& link : links) {
    const bool known = ownDevices.contains(link.name) || (link.tun && ownsTunnels);
    if (link.up && (link.wireguard || link.tun) && !known) names.append(link.name);
  }
  names.removeDuplicates();
  return names;
}

}  // namespace vantora::Diagnostics
