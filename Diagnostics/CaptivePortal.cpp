#include "Diagnostics/CaptivePortal.h"

#include "Diagnostics/text/ProxyText.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QJsonObject captivePortal(const Probe& probe) {
  const QString answer = probe.sh("curl -m 3 -s -L "_L1 + quoted(probe.options().captivePageUrl) + " | head -c 200"_L1);
  return {{u"status"_s, portalStatus(answer)}};
}

}  // namespace vantora::Diagnostics
