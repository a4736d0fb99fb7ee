#include "Diagnostics/Variables.h"

namespace vantora::Diagnostics {

Variables variablesOf(const QProcessEnvironment& environment) {
  Variables result;
  for (const QString& name : environment.keys()) result.insert(name, environment.value(name));
  return result;
}

Variables ownVariables() { return variablesOf(QProcessEnvironment::systemEnvironment()); }

QStringList entriesOf(const Variables& variables) {
  QStringList result;
  result.reserve(variables.size());
  for (auto it = variables.begin(); it != variables.end(); ++it) result.append(it.key() + u'=' + it.value());
  return result;
}

}  // namespace vantora::Diagnostics
