#pragma once

#include <QJsonObject>
#include <QString>

#include "Diagnostics/Options.h"
#include "Diagnostics/Shell.h"

// The diagnostics report: what a support technician checks first on a customer's machine.
//
// No state; every call inspects the machine again. All functions block (for seconds, at most slightly longer than
// Options::deadline) and may be called from any thread but the main one, also several at once. They never throw: what
// cannot be determined is left out, or reported as 0, false, "Unknown" or "unknown". The result always serialises to
// valid JSON.
namespace vantora::Diagnostics {

// The whole report: "network", "ping", "crashes", "storage", "battery", "processes", "updates", "security" and
// "thermal", each an object, always all nine. Independent collectors run side by side on threads of low priority.
[[nodiscard]] QJsonObject run(const Options& options = {});

// One section each, without the rest of the report; docs/diagnostics.md lists keys, types and sources.
[[nodiscard]] QJsonObject networkInfo(const Options& options = {});
[[nodiscard]] QJsonObject reachability(const Options& options = {});
[[nodiscard]] QJsonObject crashInfo(const Options& options = {});
[[nodiscard]] QJsonObject storageInfo(const Options& options = {});
[[nodiscard]] QJsonObject batteryInfo(const Options& options = {});
[[nodiscard]] QJsonObject processesInfo(const Options& options = {});
[[nodiscard]] QJsonObject updateInfo(const Options& options = {});
[[nodiscard]] QJsonObject securityInfo(const Options& options = {});
[[nodiscard]] QJsonObject thermalInfo(const Options& options = {});

// The size of a folder in KiB; 0 when it is missing or cannot be measured within the time limit.
[[nodiscard]] qint64 duKB(const QString& path, const Options& options = {});

}  // namespace vantora::Diagnostics
