#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Security settings. Pure functions, any thread.
namespace vantora::Diagnostics {

// "On" for a whole number above 0, "Off" for anything else.
[[nodiscard]] QString firewallState(const QString& text);

// The EFI variable "SecureBoot": four bytes of attributes, then 1 for on.
[[nodiscard]] bool isSecureBootOn(const QByteArray& efiVariable);

// Whether apt installs signed packages only, from its configuration and its source lists (both formats).
[[nodiscard]] bool aptChecksSignatures(const QStringList& configurations, const QStringList& sourceLists);
// The same for dnf or zypper; `byDefault` is what holds when the main file says nothing.
[[nodiscard]] bool rpmChecksSignatures(const QString& mainConfiguration, const QStringList& repositories,
                                       bool byDefault);

// ufw's own switch in ufw.conf.
[[nodiscard]] bool isUfwOn(const QString& ufwConf);
// Whether `systemctl is-active` names at least one unit as active.
[[nodiscard]] bool isAnyUnitActive(const QString& text);
// Whether a `nft list ruleset` holds back incoming packets.
[[nodiscard]] bool filtersInput(const QString& ruleset);

}  // namespace vantora::Diagnostics
