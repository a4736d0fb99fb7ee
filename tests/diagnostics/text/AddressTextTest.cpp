#include "Diagnostics/text/AddressText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

const QString kHeader = u"Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"_s;

TEST(AddressTextTest, findsTheDefaultRoute) {
  const DefaultRoute route = parseProcRoute(kHeader +
                                            u"eth0\t00000000\t010200C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
                                            "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"_s);
  EXPECT_EQ(route.interface, u"eth0"_s);
  EXPECT_EQ(route.gateway, u"192.0.2.1"_s);
}

TEST(AddressTextTest, prefersTheLowestMetric) {
  const DefaultRoute route = parseProcRoute(kHeader +
                                            u"wlan0\t00000000\t0202000A\t0003\t0\t0\t600\t00000000\t0\t0\t0\n"
                                            "eth0\t00000000\t0102000A\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"_s);
  EXPECT_EQ(route.interface, u"eth0"_s);
  EXPECT_EQ(route.gateway, u"10.0.2.1"_s);
}

TEST(AddressTextTest, aTunnelWithoutGatewayKeepsTheGatewayBehindIt) {
  const DefaultRoute route = parseProcRoute(kHeader +
                                            u"tun0\t00000000\t00000000\t0001\t0\t0\t50\t00000000\t0\t0\t0\n"
                                            "eth0\t00000000\t0102000A\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"_s);
  EXPECT_EQ(route.interface, u"tun0"_s);
  EXPECT_EQ(route.gateway, u"10.0.2.1"_s);
}

TEST(AddressTextTest, routesThatAreDownOrRefuseDoNotCount) {
  const DefaultRoute route = parseProcRoute(kHeader +
                                            u"eth0\t00000000\t0102000A\t0002\t0\t0\t100\t00000000\t0\t0\t0\n"
                                            "*\t00000000\t00000000\t0201\t0\t0\t100\t00000000\t0\t0\t0\n"_s);
  EXPECT_TRUE(route.interface.isEmpty());
  EXPECT_TRUE(route.gateway.isEmpty());
}

TEST(AddressTextTest, findsTheDefaultRouteOfIpv6WithItsScope) {
  const QString zeros(32, u'0');
  const QString text =
      u"%1 00 %1 00 fe800000000000000000000000000001 00000400 00000001 00000000 00000003     eth0\n"
      "%1 00 %1 00 %1 ffffffff 00000001 00000000 00200200       lo\n"_s.arg(zeros);
  const DefaultRoute route = parseProcIpv6Route(text);
  EXPECT_EQ(route.interface, u"eth0"_s);
  EXPECT_EQ(route.gateway, u"fe80::1%eth0"_s);
}

TEST(AddressTextTest, listsResolversInOrder) {
  EXPECT_EQ(
      nameservers(u"# nameserver 1.2.3.4\nsearch lan\nnameserver 127.0.0.53\nnameserver\t2001:db8::1\nnameserver\n"_s),
      QStringList({u"127.0.0.53"_s, u"2001:db8::1"_s}));
}

TEST(AddressTextTest, takesTheFirstServerOfResolvectl) {
  EXPECT_EQ(
      firstResolvectlServer(u"Global:\nLink 2 (eth0): 2001:db8::53#dns.example 192.0.2.53\nLink 3 (x): 10.0.0.1\n"_s),
      u"2001:db8::53"_s);
  EXPECT_EQ(firstResolvectlServer(u"Global:\nLink 2 (eth0):\n"_s), QString());
}

TEST(AddressTextTest, knowsForwardersOnThisMachine) {
  EXPECT_TRUE(isLocalStub(u"127.0.0.53"_s));
  EXPECT_TRUE(isLocalStub(u"::1"_s));
  EXPECT_FALSE(isLocalStub(u"192.0.2.53"_s));
}

TEST(AddressTextTest, picksTheAddressOfTheDefaultRoutesInterface) {
  const std::vector<InterfaceAddress> all = {{u"lo"_s, u"127.0.0.1"_s, false, true, false},
                                             {u"docker0"_s, u"172.17.0.1"_s, false, false, false},
                                             {u"eth0"_s, u"fe80::2"_s, true, false, true},
                                             {u"eth0"_s, u"192.0.2.2"_s, false, false, false},
                                             {u"eth0"_s, u"2001:db8::2"_s, true, false, false}};
  EXPECT_EQ(primaryAddress(all, u"eth0"_s), u"192.0.2.2"_s);
  EXPECT_EQ(primaryAddress(all, QString()), u"172.17.0.1"_s);
  EXPECT_EQ(primaryAddress({all[0], all[2], all[4]}, u"eth0"_s), u"2001:db8::2"_s);
  EXPECT_EQ(primaryAddress({all[0], all[2]}, u"eth0"_s), QString());
}

}  // namespace
}  // namespace vantora::Diagnostics
