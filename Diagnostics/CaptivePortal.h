#pragma once

#include <QJsonObject>
#include <QString>

namespace vantora::Diagnostics {

// The command that fetches the detection page.
[[nodiscard]] QString captivePortalCommand(const QString& url);
// {"status": "open", "captive" or "unknown"}, from the response to that command.
[[nodiscard]] QJsonObject captivePortal(const QString& response);

}  // namespace vantora::Diagnostics
