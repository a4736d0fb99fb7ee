#include <QRegularExpression>

#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/linux/LinuxRoutes.h"
#include "Diagnostics/text/PingText.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

// Addresses come from files that other programs write; an option of the command must not be taken for one.
bool isAddress(const QString& text) {
  static const QRegularExpression kAddress(u"^[0-9A-Za-z:][0-9A-Za-z.:%_-]*$"_s);
  return kAddress.match(text).hasMatch();
}

// One packet with a timeout of 0.8 s. Empty when nothing can be pinged.
QJsonObject ping(const Probe& probe, const QString& name, const QString& target) {
  const QString tool = probe.tool(u"ping"_s);
  if (tool.isEmpty() || !isAddress(target)) return {};
  return toJson(name, parsePing(probe.plain(tool + " -n -c 1 -W 0.8 "_L1 + quoted(target) + " 2>/dev/null"_L1)));
}

}  // namespace

QJsonObject pingGateway(const Probe& probe) { return ping(probe, u"gateway"_s, defaultRoute(probe).gateway); }

QJsonObject pingResolver(const Probe& probe) { return ping(probe, u"dns"_s, firstResolver(probe)); }

QJsonObject pingInternet(const Probe& probe) { return ping(probe, u"internet"_s, probe.options().internetAddress); }

}  // namespace vantora::Diagnostics::onLinux
