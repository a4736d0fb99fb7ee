#include <QJsonArray>

#include "Diagnostics/CaptivePortal.h"
#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/linux/LinuxRoutes.h"
#include "Diagnostics/text/ProxyText.h"
#include "Diagnostics/text/Text.h"
#include "Diagnostics/text/VpnText.h"
#include "Diagnostics/text/WifiText.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

const QString kInterfaces = u"/sys/class/net"_s;

// The wireless interface in use, else the first one; "" when there is none.
QString wirelessInterface(const Probe& probe) {
  QString first;
  for (const QString& name : probe.names(kInterfaces)) {
    const QString folder = kInterfaces + u'/' + name;
    if (!probe.exists(folder + "/wireless"_L1) && !probe.exists(folder + "/phy80211"_L1)) continue;
    if (probe.text(folder + "/operstate"_L1) == "up"_L1) return name;
    if (first.isEmpty()) first = name;
  }
  return first;
}

// Fills the empty fields of `link` from `other`.
WifiLink completed(WifiLink link, const WifiLink& other) {
  if (!link.ssid) link.ssid = other.ssid;
  if (!link.rssi) link.rssi = other.rssi;
  if (!link.noise) link.noise = other.noise;
  if (!link.txRate) link.txRate = other.txRate;
  return link;
}

WifiLink wifiLink(const Probe& probe, const QString& interface) {
  WifiLink link = parseProcWireless(probe.text(u"/proc/net/wireless"_s), interface);
  if (const QString iw = probe.tool(u"iw"_s); !iw.isEmpty()) {
    const QString device = iw + " dev "_L1 + quoted(interface);
    link = completed(link, parseIwLink(probe.plain(device + " link 2>/dev/null"_L1)));
    if (!link.noise) link.noise = parseIwNoise(probe.plain(device + " survey dump 2>/dev/null"_L1));
  }
  const QString nmcli = probe.tool(u"nmcli"_s);
  if (!link.ssid && !nmcli.isEmpty() && probe.hasSystemBus()) {
    link = completed(link,
                     parseNmcliWifi(probe.plain(nmcli + " -t -f IN-USE,SSID,SIGNAL,RATE device wifi list ifname "_L1 +
                                                quoted(interface) + " --rescan no 2>/dev/null"_L1)));
  }
  return link;
}

Link link(const Probe& probe, const QString& name) {
  constexpr qint64 kInterfaceUp = 0x1;
  constexpr qint64 kTun = 0x1;
  const QString folder = kInterfaces + u'/' + name;
  const auto flags = [&](const QString& file) { return probe.text(folder + u'/' + file).toLongLong(nullptr, 0); };
  Link result;
  result.name = name;
  result.up = flags(u"flags"_s) & kInterfaceUp;
  result.tun = flags(u"tun_flags"_s) & kTun;
  result.wireguard = trimmedLines(probe.text(folder + "/uevent"_L1)).contains(u"DEVTYPE=wireguard"_s);
  return result;
}

ProxyState desktopProxy(const Probe& probe) {
  if (probe.variable(u"XDG_CURRENT_DESKTOP"_s).contains("KDE"_L1)) {
    const QString file = probe.userFolder(u"XDG_CONFIG_HOME"_s, u".config"_s) + "/kioslaverc"_L1;
    return parseKioslaverc(probe.answers(file) ? probe.text(file) : QString());
  }
  const QString gsettings = probe.tool(u"gsettings"_s);
  if (gsettings.isEmpty()) return {};
  return parseGsettingsProxy(probe.plain(gsettings + " list-recursively org.gnome.system.proxy 2>/dev/null"_L1));
}

}  // namespace

QJsonObject wifi(const Probe& probe) {
  const QString interface = wirelessInterface(probe);
  return toJson(interface.isEmpty() ? WifiLink{} : wifiLink(probe, interface));
}

QJsonObject addresses(const Probe& probe) {
  QJsonObject result;
  const auto add = [&](const QString& key, const QString& value) {
    if (!value.isEmpty()) result[key] = value;
  };
  const DefaultRoute route = defaultRoute(probe);
  add(u"ip"_s, primaryAddress(probe.interfaceAddresses(), route.interface));
  add(u"dns"_s, firstResolver(probe));
  add(u"gateway"_s, route.gateway);
  return result;
}

QJsonObject portal(const Probe& probe) {
  return {{u"portal"_s, captivePortal(probe.plain(captivePortalCommand(probe.options().captivePageUrl)))}};
}

QJsonObject proxy(const Probe& probe) {
  return {{u"proxy"_s, toJson(combined(desktopProxy(probe), proxyOfEnvironment(probe.options().environment)))}};
}

QJsonObject vpn(const Probe& probe) {
  std::vector<Link> links;
  for (const QString& name : probe.names(kInterfaces)) links.push_back(link(probe, name));
  QString connections;
  const QString nmcli = probe.tool(u"nmcli"_s);
  if (!nmcli.isEmpty() && probe.hasSystemBus()) {
    connections = probe.plain(nmcli + " -t -f NAME,TYPE,DEVICE connection show --active 2>/dev/null"_L1);
  }
  return {{u"vpn"_s, QJsonArray::fromStringList(vpnNames(connections, links))}};
}

}  // namespace vantora::Diagnostics::onLinux
