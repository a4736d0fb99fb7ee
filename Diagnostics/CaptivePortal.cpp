#include "Diagnostics/CaptivePortal.h"

#include "Diagnostics/Probe.h"
#include "Diagnostics/text/ProxyText.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QString captivePortalCommand(const QString& url) { return "curl -m 3 -s -L "_L1 + quoted(url) + " | head -c 200"_L1; }

QJsonObject captivePortal(const QString& response) { return {{u"status"_s, portalStatus(response)}}; }

}  // namespace vantora::Diagnostics
