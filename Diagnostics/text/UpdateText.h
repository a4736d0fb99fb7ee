#pragma once

#include <QString>
#include <QStringList>

// The system's version and its pending updates, one text per update. Pure functions, any thread.
namespace vantora::Diagnostics {

// Maximum number of listed updates: the report is sent as one message.
inline constexpr qsizetype kListedUpdates = 120;

// The pretty name in an os-release file, else its name and version; "" when there is none.
[[nodiscard]] QString osVersion(const QString& osRelease);
// `apt list --upgradable`.
[[nodiscard]] QStringList parseApt(const QString& text);
// `dnf -C -q list --upgrades`.
[[nodiscard]] QStringList parseDnf(const QString& text);
// `pkcon --plain get-updates`.
[[nodiscard]] QStringList parsePackageKit(const QString& text);

}  // namespace vantora::Diagnostics
