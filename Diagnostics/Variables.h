#pragma once

#include <QHash>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace vantora::Diagnostics {

// Environment variables as texts. A QProcessEnvironment converts a value to text on first access, in all its copies at
// once and without a lock. This type is not changed by const access: threads may share it.
using Variables = QHash<QString, QString>;

// Those of `environment`, which no other thread may use meanwhile.
[[nodiscard]] Variables variablesOf(const QProcessEnvironment& environment);
// Those of this process. Any thread.
[[nodiscard]] Variables ownVariables();
// Each as "NAME=value", the form in which a program receives them.
[[nodiscard]] QStringList entriesOf(const Variables& variables);

}  // namespace vantora::Diagnostics
