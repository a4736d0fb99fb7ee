#include "Diagnostics/text/PingText.h"

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

PingResult parsePing(const QString& text) {
  PingResult result;
  result.ok = text.contains("1 packets transmitted, 1 packets received"_L1) ||
              text.contains("1 packets transmitted, 1 received"_L1);
  const qsizetype mark = text.indexOf("time="_L1);
  if (mark < 0) return result;
  const QString rest = text.mid(mark + 5, 64);
  qsizetype end = 0;
  while (end < rest.size() && !rest[end].isSpace()) ++end;
  result.ms = toNumber(rest.left(end));
  return result;
}

QJsonObject toJson(const QString& name, const PingResult& result) {
  QJsonObject object{{name + "_ok"_L1, result.ok}};
  if (result.ms) object[name + "_ms"_L1] = *result.ms;
  return object;
}

}  // namespace vantora::Diagnostics
