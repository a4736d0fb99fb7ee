#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/text/SecurityText.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

bool isSecureBoot(const Probe& probe) {
  return isSecureBootOn(probe.bytes(u"/sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c"_s));
}

bool hasEnforcingModule(const Probe& probe) {
  return probe.text(u"/sys/fs/selinux/enforce"_s) == "1"_L1 ||
         probe.text(u"/sys/module/apparmor/parameters/enabled"_s) == "Y"_L1;
}

QStringList texts(const Probe& probe, const QString& folder, const QStringList& patterns) {
  QStringList result;
  for (const QString& pattern : patterns) {
    for (const QString& name : probe.names(folder, pattern)) result.append(probe.text(folder + u'/' + name));
  }
  return result;
}

bool installsSignedOnly(const Probe& probe) {
  if (probe.exists(u"/etc/apt"_s)) {
    return aptChecksSignatures(
        texts(probe, u"/etc/apt"_s, {u"apt.conf"_s}) + texts(probe, u"/etc/apt/apt.conf.d"_s, {u"*"_s}),
        texts(probe, u"/etc/apt"_s, {u"sources.list"_s}) +
            texts(probe, u"/etc/apt/sources.list.d"_s, {u"*.list"_s, u"*.sources"_s}));
  }
  if (probe.exists(u"/etc/zypp"_s)) {
    return rpmChecksSignatures(probe.text(u"/etc/zypp/zypp.conf"_s),
                               texts(probe, u"/etc/zypp/repos.d"_s, {u"*.repo"_s}), true);
  }
  if (probe.exists(u"/etc/dnf"_s)) {
    return rpmChecksSignatures(probe.text(u"/etc/dnf/dnf.conf"_s), texts(probe, u"/etc/yum.repos.d"_s, {u"*.repo"_s}),
                               false);
  }
  return false;
}

bool hasFirewall(const Probe& probe) {
  if (isUfwOn(probe.text(u"/etc/ufw/ufw.conf"_s))) return true;
  const QString systemctl = probe.tool(u"systemctl"_s);
  if (!systemctl.isEmpty() && probe.exists(u"/run/systemd/system"_s) &&
      isAnyUnitActive(probe.plain(systemctl + " is-active firewalld.service nftables.service 2>/dev/null"_L1))) {
    return true;
  }
  // Only an administrator may read the rules themselves.
  const QString nft = probe.tool(u"nft"_s);
  return !nft.isEmpty() && filtersInput(probe.plain(nft + " list ruleset 2>/dev/null"_L1));
}

}  // namespace

QJsonObject integrity(const Probe& probe) {
  return {{u"sip"_s, isSecureBoot(probe) && hasEnforcingModule(probe)}, {u"gatekeeper"_s, installsSignedOnly(probe)}};
}

QJsonObject firewall(const Probe& probe) {
  return {{u"firewall"_s, firewallState(hasFirewall(probe) ? u"1"_s : u"0"_s)}};
}

}  // namespace vantora::Diagnostics::onLinux
