#pragma once

#include <QHash>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace vantora::Diagnostics {

// Environment variables as texts. Unlike a QProcessEnvironment, which turns a value into text when it is first asked
// for it, in all its copies at once and without a lock, this is changed by nothing that is const: threads may share it.
using Variables = QHash<QString, QString>;

// Those of `environment`, which no other thread may use meanwhile.
[[nodiscard]] Variables variablesOf(const QProcessEnvironment& environment);
// Those of this process. Any thread.
[[nodiscard]] Variables ownVariables();
// Each as "NAME=value", which is how a program is given them.
[[nodiscard]] QStringList entriesOf(const Variables& variables);

}  // namespace vantora::Diagnostics
