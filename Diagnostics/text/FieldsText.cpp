#include "Diagnostics/text/FieldsText.h"

namespace vantora::Diagnostics {

QStringList nmcliFields(const QString& line) {
  QStringList fields(QString{});
  for (qsizetype i = 0; i < line.size(); ++i) {
    if (line[i] == u'\\' && i + 1 < line.size()) {
      fields.last() += line[++i];
    } else if (line[i] == u':') {
      fields.append(QString());
    } else {
      fields.last() += line[i];
    }
  }
  return fields;
}

}  // namespace vantora::Diagnostics
