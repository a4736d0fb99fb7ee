#include <QJsonArray>

#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/text/UpdateText.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

// The updates known since the package manager's last refresh; no refresh is started here.
QStringList available(const Probe& probe) {
  if (const QString apt = probe.tool(u"apt"_s); !apt.isEmpty() && probe.exists(u"/var/lib/dpkg/status"_s)) {
    return parseApt(probe.plain(apt + " list --upgradable 2>/dev/null"_L1));
  }
  if (const QString dnf = probe.tool(u"dnf"_s); !dnf.isEmpty()) {
    return parseDnf(probe.plain(dnf + " -C -q list --upgrades 2>/dev/null"_L1));
  }
  if (const QString pkcon = probe.tool(u"pkcon"_s); !pkcon.isEmpty() && probe.hasSystemBus()) {
    return parsePackageKit(probe.plain(pkcon + " --plain get-updates 2>/dev/null"_L1));
  }
  return {};
}

}  // namespace

QJsonObject version(const Probe& probe) {
  const QString local = osVersion(probe.text(u"/etc/os-release"_s));
  const QString current = local.isEmpty() ? osVersion(probe.text(u"/usr/lib/os-release"_s)) : local;
  if (current.isEmpty()) return {};
  return {{u"current"_s, current}};
}

QJsonObject updates(const Probe& probe) { return {{u"available"_s, QJsonArray::fromStringList(available(probe))}}; }

}  // namespace vantora::Diagnostics::onLinux
