#pragma once

#include <QJsonObject>
#include <QString>

namespace vantora::Diagnostics {

// The command that fetches the detection page.
[[nodiscard]] QString captivePortalCommand(const QString& url);
// {"status": "open", "captive" or "unknown"}: whether that page is what answered.
[[nodiscard]] QJsonObject captivePortal(const QString& answer);

}  // namespace vantora::Diagnostics
