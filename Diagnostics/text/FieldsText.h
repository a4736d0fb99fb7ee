#pragma once

#include <QString>
#include <QStringList>

namespace vantora::Diagnostics {

// The fields of one line of `nmcli -t`: separated by colons, with backslashes before colons and backslashes inside.
[[nodiscard]] QStringList nmcliFields(const QString& line);

}  // namespace vantora::Diagnostics
