#include "Diagnostics/text/AddressText.h"

#include <arpa/inet.h>

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

// Flags of a route, as in linux/route.h.
constexpr quint32 kUp = 0x1;
constexpr quint32 kGateway = 0x2;
constexpr quint32 kReject = 0x200;

// Keeps the best of candidates that are added one by one.
class BestRoute {
 public:
  void consider(const QString& interface, const QString& gateway, quint32 metric) {
    if (best_.interface.isEmpty() || metric < metric_) {
      best_.interface = interface;
      metric_ = metric;
    }
    if (!gateway.isEmpty() && (best_.gateway.isEmpty() || metric < gatewayMetric_)) {
      best_.gateway = gateway;
      gatewayMetric_ = metric;
    }
  }
  [[nodiscard]] const DefaultRoute& best() const { return best_; }

 private:
  DefaultRoute best_;
  quint32 metric_ = 0;
  quint32 gatewayMetric_ = 0;
};

QString ipv6Text(const QString& hex) {
  const QByteArray bytes = QByteArray::fromHex(hex.toLatin1());
  if (bytes.size() != 16) return {};
  char text[INET6_ADDRSTRLEN] = {};
  inet_ntop(AF_INET6, bytes.constData(), text, sizeof text);
  return QString::fromLatin1(text);
}

}  // namespace

DefaultRoute parseProcRoute(const QString& text) {
  BestRoute route;
  for (const QString& line : trimmedLines(text)) {
    const QStringList fields = words(line);
    if (fields.size() < 8 || fields[1] != "00000000"_L1 || fields[7] != "00000000"_L1) continue;
    bool gatewayOk = false;
    bool flagsOk = false;
    bool metricOk = false;
    // The kernel prints the address as a number in host byte order, so its bytes are in order once stored back.
    const quint32 gateway = fields[2].toUInt(&gatewayOk, 16);
    const quint32 flags = fields[3].toUInt(&flagsOk, 16);
    const quint32 metric = fields[6].toUInt(&metricOk);
    if (!gatewayOk || !flagsOk || !metricOk || !(flags & kUp) || (flags & kReject)) continue;
    char address[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &gateway, address, sizeof address);
    route.consider(fields[0], flags & kGateway ? QString::fromLatin1(address) : QString(), metric);
  }
  return route.best();
}

DefaultRoute parseProcIpv6Route(const QString& text) {
  BestRoute route;
  for (const QString& line : trimmedLines(text)) {
    const QStringList fields = words(line);
    if (fields.size() < 10 || fields[0] != QString(32, u'0') || fields[1] != "00"_L1) continue;
    bool metricOk = false;
    bool flagsOk = false;
    const quint32 metric = fields[5].toUInt(&metricOk, 16);
    const quint32 flags = fields[8].toUInt(&flagsOk, 16);
    if (!metricOk || !flagsOk || !(flags & kUp) || (flags & kReject) || fields[9] == "lo"_L1) continue;
    QString gateway = flags & kGateway ? ipv6Text(fields[4]) : QString();
    if (gateway.startsWith("fe80:"_L1)) gateway += u'%' + fields[9];
    route.consider(fields[9], gateway, metric);
  }
  return route.best();
}

QStringList nameservers(const QString& resolvConf) {
  QStringList result;
  for (const QString& line : trimmedLines(resolvConf)) {
    const QStringList fields = words(line);
    if (fields.size() >= 2 && fields[0] == "nameserver"_L1) result.append(fields[1]);
  }
  return result;
}

QString firstResolvectlServer(const QString& text) {
  for (const QString& line : trimmedLines(text)) {
    // "Global: ..." or "Link 2 (eth0): ..."; addresses of IPv6 hold colons as well, so only the first blank counts.
    const qsizetype colon = line.indexOf(": "_L1);
    const QString first = colon < 0 ? QString() : words(line.mid(colon + 2)).value(0);
    // The name of a server for TLS may follow a number sign.
    if (!first.isEmpty()) return first.section(u'#', 0, 0);
  }
  return {};
}

bool isLocalStub(const QString& server) { return server.startsWith("127."_L1) || server == "::1"_L1; }

QString primaryAddress(const std::vector<InterfaceAddress>& addresses, const QString& interface) {
  for (const bool ipv6 : {false, true}) {
    QString other;
    for (const InterfaceAddress& entry : addresses) {
      if (entry.ipv6 != ipv6 || entry.loopback || (ipv6 && entry.linkLocal)) continue;
      if (entry.interface == interface) return entry.address;
      if (other.isEmpty()) other = entry.address;
    }
    if (!other.isEmpty()) return other;
  }
  return {};
}

}  // namespace vantora::Diagnostics
