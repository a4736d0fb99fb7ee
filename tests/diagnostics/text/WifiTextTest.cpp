#include "Diagnostics/text/WifiText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(WifiTextTest, readsTheAirportTool) {
  const WifiLink link = parseAirport(
      u"     agrCtlRSSI: -51\n     agrExtRSSI: 0\n    agrCtlNoise: -92\n          state: running\n"
      "     lastTxRate: 867\n        maxRate: 1300\n          BSSID: 0:11:22:33:44:55\n           SSID: Home: upstairs\n"_s);
  EXPECT_EQ(link.ssid, u"Home: upstairs"_s);
  EXPECT_EQ(link.rssi, -51);
  EXPECT_EQ(link.noise, -92);
  EXPECT_EQ(link.txRate, u"867"_s);
}

TEST(WifiTextTest, airportLabelsCountWithoutRegardToCaseAndInBothSpellings) {
  const WifiLink link = parseAirport(u"AGRCTLRSSI:-60\nLast Tx Rate : 54\nssid:x"_s);
  EXPECT_EQ(link.rssi, -60);
  EXPECT_EQ(link.txRate, u"54"_s);
  EXPECT_EQ(link.ssid, u"x"_s);
  EXPECT_FALSE(link.noise);
}

TEST(WifiTextTest, airportThatIsOffReportsNothing) {
  const WifiLink link = parseAirport(u"AirPort: Off"_s);
  EXPECT_FALSE(link.ssid || link.rssi || link.noise || link.txRate);
  EXPECT_FALSE(parseAirport(u"agrCtlRSSI: strong"_s).rssi);
}

TEST(WifiTextTest, readsIwLink) {
  const WifiLink link = parseIwLink(
      uR"(Connected to 00:11:22:33:44:55 (on wlp2s0)
	SSID: B\xc3\xbcro 5
	freq: 5180
	RX: 3823711 bytes (12123 packets)
	TX: 332112 bytes (1811 packets)
	signal: -52 dBm
	rx bitrate: 780.0 MBit/s VHT-MCS 8 80MHz VHT-NSS 2
	tx bitrate: 866.7 MBit/s VHT-MCS 9 80MHz short GI VHT-NSS 2)"_s);
  EXPECT_EQ(link.ssid, u"Büro 5"_s);
  EXPECT_EQ(link.rssi, -52);
  EXPECT_EQ(link.txRate, u"866.7"_s);
  EXPECT_FALSE(parseIwLink(u"Not connected."_s).ssid);
}

TEST(WifiTextTest, takesTheNoiseOfTheChannelInUse) {
  const QString survey =
      u"Survey data from wlan0\n\tfrequency:\t\t\t2412 MHz\n\tnoise:\t\t\t\t-80 dBm\nSurvey data from wlan0\n"
      "\tfrequency:\t\t\t5180 MHz [in use]\n\tnoise:\t\t\t\t-95 dBm\n\tchannel active time:\t\t120 ms\n"_s;
  EXPECT_EQ(parseIwNoise(survey), -95);
  EXPECT_FALSE(parseIwNoise(u"\tfrequency: 2412 MHz\n\tnoise: -80 dBm"_s));
}

TEST(WifiTextTest, takesTheRowInUseOfTheNetworkManager) {
  const WifiLink link = parseNmcliWifi(
      uR"( :Neighbour:90:130 Mbit/s
*:My\:Net:68:270 Mbit/s
 ::20:54 Mbit/s)"_s);
  EXPECT_EQ(link.ssid, u"My:Net"_s);
  EXPECT_EQ(link.rssi, -52);
  EXPECT_EQ(link.txRate, u"270"_s);
  EXPECT_FALSE(parseNmcliWifi(u" :Neighbour:90:130 Mbit/s"_s).ssid);
  EXPECT_FALSE(parseNmcliWifi(u"*:x:9000:130 Mbit/s"_s).rssi);
}

TEST(WifiTextTest, readsTheKernelsLevels) {
  const QString text =
      u"Inter-| sta-|   Quality        |   Discarded packets               | Missed | WE\n"
      " face | tus | link level noise |  nwid  crypt   frag  retry   misc | beacon | 22\n"
      "wlp2s0: 0000   58.  -52.  -256        0      0      0      0      4        0\n"
      "wlan1: 0000   58.  -71.  -90        0      0      0      0      4        0\n"_s;
  EXPECT_EQ(parseProcWireless(text, u"wlp2s0"_s).rssi, -52);
  EXPECT_FALSE(parseProcWireless(text, u"wlp2s0"_s).noise) << "-256 stands for not known";
  EXPECT_EQ(parseProcWireless(text, u"wlan1"_s).noise, -90);
  EXPECT_FALSE(parseProcWireless(text, u"wlan"_s).rssi);
}

TEST(WifiTextTest, signalBarsFollowTheLevel) {
  EXPECT_EQ(signalBars(-30), 4);
  EXPECT_EQ(signalBars(-50), 4);
  EXPECT_EQ(signalBars(-51), 3);
  EXPECT_EQ(signalBars(-60), 3);
  EXPECT_EQ(signalBars(-61), 2);
  EXPECT_EQ(signalBars(-70), 2);
  EXPECT_EQ(signalBars(-71), 1);
  EXPECT_EQ(signalBars(std::nullopt), 0);
}

TEST(WifiTextTest, unknownFiguresAreLeftOutButBarsAreNot) {
  EXPECT_EQ(toJson(WifiLink{}), QJsonObject({{u"signalBars"_s, 0}}));
  const QJsonObject all = toJson(WifiLink{u"net"_s, -55, -90, u"54"_s});
  EXPECT_EQ(
      all,
      QJsonObject(
          {{u"ssid"_s, u"net"_s}, {u"rssi"_s, -55}, {u"noise"_s, -90}, {u"txRate"_s, u"54"_s}, {u"signalBars"_s, 3}}));
}

}  // namespace
}  // namespace vantora::Diagnostics
