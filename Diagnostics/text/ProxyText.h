#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include "Diagnostics/Variables.h"

// Proxy settings and the captive-portal check. Pure functions, any thread.
namespace vantora::Diagnostics {

struct ProxyState {
  bool enabled = false;
  // One entry per proxy host, beginning with "HTTPProxy", "HTTPSProxy" or "SOCKSProxy"; never a password.
  QStringList hosts;
};

// `gsettings list-recursively org.gnome.system.proxy`.
[[nodiscard]] ProxyState parseGsettingsProxy(const QString& text);
// KDE's kioslaverc.
[[nodiscard]] ProxyState parseKioslaverc(const QString& text);
// http_proxy, https_proxy, all_proxy and their spellings in capitals.
[[nodiscard]] ProxyState proxyOfEnvironment(const Variables& environment);

// {"enabled": bool, "summary": the hosts joined by ", "}.
[[nodiscard]] QJsonObject toJson(const ProxyState& state);
// Both together, an entry that stands in both only once.
[[nodiscard]] ProxyState combined(const ProxyState& first, const ProxyState& second);

// "open", "captive" or "unknown", from the response to the request for the detection page.
[[nodiscard]] QString portalStatus(const QString& response);

}  // namespace vantora::Diagnostics
