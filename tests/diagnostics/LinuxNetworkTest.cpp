#include <QJsonArray>

#include "Diagnostics/Diagnostics.h"
#include "tests/diagnostics/Printing.h"
#include "tests/diagnostics/SyntheticMachine.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

const QByteArray kRoute =
    "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\tMTU\tWindow\tIRTT\n"
    "eth0\t00000000\t010200C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n";
const QString kReply = u"64 bytes: time=1.25 ms\n1 packets transmitted, 1 received, 0% packet loss"_s;

TEST(LinuxNetworkTest, aMachineWithoutWifiHasNoBarsAndAsksNoWifiTool) {
  SyntheticMachine machine;
  machine.folder(u"/sys/class/net/eth0"_s);
  machine.tool(u"iw"_s);
  const QJsonObject network = networkInfo(machine.options());
  EXPECT_EQ(network[u"signalBars"_s].toInt(-1), 0);
  for (const QString& key : {u"ssid"_s, u"rssi"_s, u"noise"_s, u"txRate"_s, u"ip"_s, u"dns"_s, u"gateway"_s}) {
    EXPECT_FALSE(network.contains(key)) << key.toStdString();
  }
  EXPECT_EQ(network[u"vpn"_s], QJsonValue(QJsonArray()));
  EXPECT_EQ(network[u"proxy"_s].toObject(), QJsonObject({{u"enabled"_s, false}, {u"summary"_s, QString()}}));
  EXPECT_FALSE(machine.ran(u"iw"_s));
}

TEST(LinuxNetworkTest, readsTheWirelessLink) {
  SyntheticMachine machine;
  machine.folder(u"/sys/class/net/wlan0/phy80211"_s);
  machine.file(u"/proc/net/wireless"_s, "wlan0: 0000 58. -52. -256 0 0 0 0 0 0\n");
  machine.tool(u"iw"_s);
  machine.answer(u"'wlan0' link"_s, u"Connected to x\n\tSSID: Home\n\ttx bitrate: 866.7 MBit/s VHT"_s);
  machine.answer(u"survey dump"_s, u"frequency: 5180 MHz [in use]\nnoise: -95 dBm"_s);
  const QJsonObject network = networkInfo(machine.options());
  EXPECT_EQ(network[u"ssid"_s], u"Home"_s);
  EXPECT_EQ(network[u"rssi"_s], -52);
  EXPECT_EQ(network[u"noise"_s], -95);
  EXPECT_EQ(network[u"txRate"_s], u"866.7"_s);
  EXPECT_EQ(network[u"signalBars"_s], 3);
}

TEST(LinuxNetworkTest, asksTheNetworkManagerWhereIwIsMissing) {
  SyntheticMachine machine;
  machine.folder(u"/sys/class/net/wlan0/wireless"_s);
  machine.file(u"/run/dbus/system_bus_socket"_s, "");
  machine.tool(u"nmcli"_s);
  machine.answer(u"device wifi list"_s, u"*:Home:68:270 Mbit/s"_s);
  machine.answer(u"connection show"_s, u"Office:vpn:wlan0"_s);
  const QJsonObject network = networkInfo(machine.options());
  EXPECT_EQ(network[u"ssid"_s], u"Home"_s);
  EXPECT_EQ(network[u"rssi"_s], -52);
  EXPECT_EQ(network[u"vpn"_s].toArray(), QJsonArray({u"Office"_s}));
}

TEST(LinuxNetworkTest, withoutASystemBusItsClientsAreNotStarted) {
  SyntheticMachine machine;
  machine.folder(u"/sys/class/net/wlan0/wireless"_s);
  machine.file(u"/etc/resolv.conf"_s, "nameserver 127.0.0.53\n");
  for (const QString& name : {u"nmcli"_s, u"resolvectl"_s, u"busctl"_s, u"snapper"_s}) machine.tool(name);
  const QJsonObject report = run(machine.options());
  for (const QString& name : {u"nmcli"_s, u"resolvectl"_s, u"busctl"_s, u"snapper"_s}) {
    EXPECT_FALSE(machine.ran(name)) << name.toStdString();
  }
  EXPECT_EQ(report[u"network"_s][u"dns"_s], u"127.0.0.53"_s);
}

TEST(LinuxNetworkTest, readsAddresses) {
  SyntheticMachine machine;
  machine.file(u"/proc/net/route"_s, kRoute);
  machine.file(u"/etc/resolv.conf"_s, "nameserver 192.0.2.53\n");
  Options options = machine.options();
  options.interfaceAddresses = [] {
    return std::vector<InterfaceAddress>{{u"eth0"_s, u"192.0.2.2"_s, false, false, false}};
  };
  const QJsonObject network = networkInfo(options);
  EXPECT_EQ(network[u"ip"_s], u"192.0.2.2"_s);
  EXPECT_EQ(network[u"dns"_s], u"192.0.2.53"_s);
  EXPECT_EQ(network[u"gateway"_s], u"192.0.2.1"_s);
}

TEST(LinuxNetworkTest, findsTheResolverBehindAForwarderOnThisMachine) {
  SyntheticMachine machine;
  machine.file(u"/etc/resolv.conf"_s, "nameserver 127.0.0.53\n");
  machine.file(u"/run/systemd/resolve/resolv.conf"_s, "nameserver 192.0.2.54\n");
  EXPECT_EQ(networkInfo(machine.options())[u"dns"_s], u"192.0.2.54"_s);

  SyntheticMachine other;
  other.file(u"/etc/resolv.conf"_s, "nameserver 127.0.0.1\n");
  other.file(u"/run/dbus/system_bus_socket"_s, "");
  other.tool(u"resolvectl"_s);
  other.tool(u"nmcli"_s);
  other.answer(u"-g IP4.DNS"_s, u"192.0.2.55 | 192.0.2.56"_s);
  EXPECT_EQ(networkInfo(other.options())[u"dns"_s], u"192.0.2.55"_s);
  EXPECT_TRUE(other.ran(u"resolvectl"_s));
}

TEST(LinuxNetworkTest, fetchesTheConfiguredPageAsOneWord) {
  SyntheticMachine machine;
  Options options = machine.options();
  options.captivePageUrl = u"http://127.0.0.1/it's?a=1&b=$(x)"_s;
  machine.answer(u"curl"_s, u"Success"_s);
  EXPECT_EQ(networkInfo(options)[u"portal"_s], QJsonValue(QJsonObject({{u"status"_s, u"open"_s}})));
  EXPECT_TRUE(machine.commands().contains(uR"(curl -m 3 -s -L 'http://127.0.0.1/it'\''s?a=1&b=$(x)' | head -c 200)"_s));
  EXPECT_EQ(networkInfo(SyntheticMachine().options())[u"portal"_s][u"status"_s], u"unknown"_s);
}

TEST(LinuxNetworkTest, readsTheProxyOfTheDesktopInUse) {
  SyntheticMachine machine;
  machine.tool(u"gsettings"_s);
  machine.answer(
      u"gsettings"_s,
      u"org.gnome.system.proxy mode 'manual'\norg.gnome.system.proxy.http host 'gnome.example'\norg.gnome.system.proxy.http port 1"_s);
  machine.file(u"/home/user/.config/kioslaverc"_s, "[Proxy Settings]\nProxyType=1\nhttpProxy=http://kde.example 2\n");
  Options options = machine.options();
  options.environment.insert(u"https_proxy"_s, u"http://env.example:3"_s);
  EXPECT_EQ(networkInfo(options)[u"proxy"_s][u"summary"_s],
            u"HTTPProxy : gnome.example:1, HTTPSProxy : env.example:3"_s);
  options.environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
  EXPECT_EQ(networkInfo(options)[u"proxy"_s][u"summary"_s], u"HTTPProxy : kde.example:2, HTTPSProxy : env.example:3"_s);
}

TEST(LinuxNetworkTest, tunnelsOfTheKernelAreVpns) {
  SyntheticMachine machine;
  machine.file(u"/sys/class/net/wg0/uevent"_s, "DEVTYPE=wireguard\nINTERFACE=wg0\n");
  machine.file(u"/sys/class/net/wg0/flags"_s, "0x10d1\n");
  machine.file(u"/sys/class/net/tun0/tun_flags"_s, "0x1001\n");
  machine.file(u"/sys/class/net/tun0/flags"_s, "0x1091\n");
  machine.file(u"/sys/class/net/vnet0/tun_flags"_s, "0x1002\n");
  machine.file(u"/sys/class/net/vnet0/flags"_s, "0x1003\n");
  machine.file(u"/sys/class/net/tun1/tun_flags"_s, "0x1001\n");
  machine.file(u"/sys/class/net/tun1/flags"_s, "0x1090\n");
  EXPECT_EQ(networkInfo(machine.options())[u"vpn"_s].toArray(), QJsonArray({u"tun0"_s, u"wg0"_s}));
}

TEST(LinuxReachabilityTest, pingsGatewayResolverAndInternet) {
  SyntheticMachine machine;
  machine.file(u"/proc/net/route"_s, kRoute);
  machine.file(u"/etc/resolv.conf"_s, "nameserver 192.0.2.53\n");
  machine.tool(u"ping"_s);
  machine.answer(u"'192.0.2.1'"_s, kReply);
  machine.answer(u"'192.0.2.53'"_s, u"1 packets transmitted, 0 received"_s);
  machine.answer(u"'127.0.0.1'"_s, kReply);
  EXPECT_EQ(reachability(machine.options()), QJsonObject({{u"gateway_ok"_s, true},
                                                          {u"gateway_ms"_s, 1.25},
                                                          {u"dns_ok"_s, false},
                                                          {u"internet_ok"_s, true},
                                                          {u"internet_ms"_s, 1.25}}));
  for (const QString& command : machine.commands())
    EXPECT_TRUE(command.contains(u"-c 1 -W 0.8 "_s)) << command.toStdString();
}

TEST(LinuxReachabilityTest, unknownTargetsAndAMissingToolAreLeftOut) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  EXPECT_EQ(reachability(machine.options()), QJsonObject({{u"internet_ok"_s, false}}));
  EXPECT_EQ(reachability(SyntheticMachine().options()), QJsonObject());
}

TEST(LinuxReachabilityTest, whatIsNoAddressIsNotPinged) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  machine.file(u"/etc/resolv.conf"_s, "nameserver -f\nnameserver $(reboot)\n");
  Options options = machine.options();
  options.internetAddress = u"1.2.3.4; reboot"_s;
  EXPECT_EQ(reachability(options), QJsonObject());
  EXPECT_TRUE(machine.commands().isEmpty());
}

}  // namespace
}  // namespace vantora::Diagnostics
