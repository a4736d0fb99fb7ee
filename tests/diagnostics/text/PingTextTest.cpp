#include "Diagnostics/text/PingText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(PingTextTest, readsBothWordings) {
  const PingResult linuxPing = parsePing(
      u"PING 192.0.2.1 (192.0.2.1) 56(84) bytes of data.\n64 bytes from 192.0.2.1: icmp_seq=1 ttl=64 time=0.313 ms\n\n"
      "--- 192.0.2.1 ping statistics ---\n1 packets transmitted, 1 received, 0% packet loss, time 0ms\n"
      "rtt min/avg/max/mdev = 0.313/0.313/0.313/0.000 ms"_s);
  EXPECT_TRUE(linuxPing.ok);
  EXPECT_EQ(linuxPing.ms, 0.313);
  const PingResult other = parsePing(
      u"64 bytes from 10.0.0.1: icmp_seq=0 ttl=64 time=12.5 ms\n1 packets transmitted, 1 packets received, 0.0% packet loss"_s);
  EXPECT_TRUE(other.ok);
  EXPECT_EQ(other.ms, 12.5);
}

TEST(PingTextTest, aLostPacketIsNotOk) {
  const PingResult lost = parsePing(u"1 packets transmitted, 0 received, 100% packet loss, time 0ms"_s);
  EXPECT_FALSE(lost.ok);
  EXPECT_FALSE(lost.ms);
  EXPECT_FALSE(parsePing(QString()).ok);
  EXPECT_FALSE(parsePing(u"11 packets transmitted, 11 received"_s.replace(u"11 packets"_s, u"1 packet"_s)).ok);
}

TEST(PingTextTest, aTimeThatIsNoNumberIsLeftOut) {
  EXPECT_FALSE(parsePing(u"time=fast ms\n1 packets transmitted, 1 received"_s).ms);
  EXPECT_FALSE(parsePing(u"time=nan ms"_s).ms);
  EXPECT_FALSE(parsePing(u"time="_s).ms);
  EXPECT_EQ(toJson(u"dns"_s, parsePing(u"1 packets transmitted, 1 received"_s)), QJsonObject({{u"dns_ok"_s, true}}));
  EXPECT_EQ(toJson(u"dns"_s, parsePing(u"time=2.5 ms"_s)), QJsonObject({{u"dns_ok"_s, false}, {u"dns_ms"_s, 2.5}}));
}

}  // namespace
}  // namespace vantora::Diagnostics
