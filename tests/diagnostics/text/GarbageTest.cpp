#include <QJsonArray>
#include <random>

#include "Diagnostics/text/AddressText.h"
#include "Diagnostics/text/BatteryText.h"
#include "Diagnostics/text/CrashText.h"
#include "Diagnostics/text/PingText.h"
#include "Diagnostics/text/ProcessText.h"
#include "Diagnostics/text/ProxyText.h"
#include "Diagnostics/text/SecurityText.h"
#include "Diagnostics/text/StorageText.h"
#include "Diagnostics/text/UpdateText.h"
#include "Diagnostics/text/VpnText.h"
#include "Diagnostics/text/WifiText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

// Everything a text parser can put into the report.
QJsonObject everything(const QString& text) {
  QJsonObject all{
      {u"airport"_s, toJson(parseAirport(text))},
      {u"iw"_s, toJson(parseIwLink(text))},
      {u"nmcli"_s, toJson(parseNmcliWifi(text))},
      {u"proc"_s, toJson(parseProcWireless(text, u"wlan0"_s))},
      {u"route"_s, parseProcRoute(text).gateway},
      {u"route6"_s, parseProcIpv6Route(text).gateway},
      {u"resolver"_s, firstResolvectlServer(text)},
      {u"gsettings"_s, toJson(parseGsettingsProxy(text))},
      {u"kde"_s, toJson(parseKioslaverc(text))},
      {u"ping"_s, toJson(u"x"_s, parsePing(text))},
      {u"crashes"_s, recentCrashes(parseCoredumpctl(text))},
      {u"kernel"_s, recentCrashes(parseKernelCrashes(text))},
      {u"smart"_s, parseSmart(text)},
      {u"vpn"_s, QJsonArray::fromStringList(vpnNames(text, {}))},
      {u"apt"_s, QJsonArray::fromStringList(parseApt(text))},
      {u"dnf"_s, QJsonArray::fromStringList(parseDnf(text))},
      {u"packagekit"_s, QJsonArray::fromStringList(parsePackageKit(text))},
      {u"os"_s, osVersion(text)},
      {u"filters"_s, filtersInput(text)},
      {u"snapshots"_s, countBtrfsSnapshots(text) + countSnapperRows(text)},
      {u"root"_s, parseRootMount(text).source},
      {u"packages"_s, installedKB(text.toUtf8())},
  };
  if (const auto stat = parseProcStat(text.toUtf8())) all[u"stat"_s] = processName(stat->name, text.toUtf8());
  return all;
}

// Pieces of real outputs in any order, so that the parsers get past their first checks.
QString shuffledPieces(std::mt19937& random) {
  static const QStringList kPieces = {u"\n"_s,
                                      u" "_s,
                                      u":"_s,
                                      u"|"_s,
                                      u"\\"_s,
                                      u"\\x"_s,
                                      u"\""_s,
                                      u"'"_s,
                                      u"["_s,
                                      u"{"_s,
                                      u"}"_s,
                                      u")"_s,
                                      u"("_s,
                                      u"-"_s,
                                      u"*:"_s,
                                      u"SSID: "_s,
                                      u"signal: "_s,
                                      u"tx bitrate: "_s,
                                      u"wlan0:"_s,
                                      u"agrCtlRSSI"_s,
                                      u"1e308"_s,
                                      u"nan"_s,
                                      u"-99999999999"_s,
                                      u"00000000\t"_s,
                                      u"0003\t"_s,
                                      u"Link 2 (x): "_s,
                                      u"HTTPProxy"_s,
                                      u"Enable : 1"_s,
                                      u"org.gnome.system.proxy mode 'manual'\n"_s,
                                      u"[Proxy Settings]\n"_s,
                                      u"ProxyType=1\n"_s,
                                      u"httpProxy=http://"_s,
                                      u"time="_s,
                                      u"1 packets transmitted, 1 received"_s,
                                      u"cycle count:"_s,
                                      u"maximum capacity:"_s,
                                      u"42 (x) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22"_s,
                                      u"Installed-Size: "_s,
                                      u"Status: install ok installed\n"_s,
                                      u"ID 1\n"_s,
                                      u"\U0001F600"_s,
                                      QString(QChar(0)),
                                      u"\t"_s,
                                      u"PRETTY_NAME="_s};
  QString text;
  for (unsigned count = random() % 60; count > 0; --count)
    text += kPieces[static_cast<qsizetype>(random() % kPieces.size())];
  return text;
}

TEST(GarbageTest, whateverToolsPrintTheResultIsValidJson) {
  std::mt19937 random(20240607);
  for (int i = 0; i < 3000; ++i) {
    const QJsonObject result = everything(shuffledPieces(random));
    QJsonParseError error;
    const QJsonDocument back = QJsonDocument::fromJson(QJsonDocument(result).toJson(), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError);
    ASSERT_EQ(back.object(), result) << "a figure that JSON has no word for";
  }
}

TEST(GarbageTest, nothingInNothingOut) {
  const QJsonObject result = everything(QString());
  EXPECT_EQ(result[u"airport"_s].toObject(), QJsonObject({{u"signalBars"_s, 0}}));
  EXPECT_EQ(result[u"battery"_s].toObject(), QJsonObject());
  EXPECT_EQ(result[u"ping"_s].toObject(), QJsonObject({{u"x_ok"_s, false}}));
  for (const QString& key :
       {u"crashes"_s, u"counts"_s, u"cpu"_s, u"memory"_s, u"vpn"_s, u"apt"_s, u"dnf"_s, u"packagekit"_s}) {
    EXPECT_TRUE(result[key].toArray().isEmpty()) << key.toStdString();
  }
  EXPECT_FALSE(result.contains(u"df"_s));
  EXPECT_FALSE(result.contains(u"stat"_s));
}

}  // namespace
}  // namespace vantora::Diagnostics
