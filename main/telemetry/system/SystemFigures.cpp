#include "main/telemetry/system/SystemFigures.h"

#include <QJsonArray>
#include <algorithm>
#include <cmath>
#include <limits>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

qint64 integer(quint64 value) {
  return static_cast<qint64>(std::min<quint64>(value, std::numeric_limits<qint64>::max()));
}

void add(JsonObject& object, const QString& key, double value) {
  if (std::isfinite(value)) object.insert(key, value);
}

JsonObject toJson(const ProcessFigures& process) {
  JsonObject result{{u"pid"_s, process.pid}, {u"name"_s, process.name}, {u"rssBytes"_s, integer(process.rssBytes)}};
  result.insert(u"cpuPct"_s, std::isfinite(process.cpuPct) ? process.cpuPct : 0);
  if (!process.application) return result;
  const auto& [name, executable, bundle] = *process.application;
  if (!executable.isEmpty()) result.insert(u"exe"_s, executable);
  if (!bundle.isEmpty()) result.insert(u"bundle"_s, bundle);
  return result;
}

}  // namespace

JsonObject toJson(const SystemFigures& figures) {
  JsonObject result;
  if (figures.cpuPct) add(result, u"cpuPct"_s, *figures.cpuPct);
  if (figures.memory) {
    result.insert(u"memTotalBytes"_s, integer(figures.memory->totalBytes));
    result.insert(u"memUsedBytes"_s, integer(figures.memory->usedBytes));
  }
  if (figures.disk && std::isfinite(figures.disk->usedPct)) {
    result.insert(u"disk"_s, JsonObject{{u"usedPct"_s, figures.disk->usedPct},
                                        {u"totalBytes"_s, integer(figures.disk->totalBytes)},
                                        {u"usedBytes"_s, integer(figures.disk->usedBytes)}});
  }
  if (figures.network) {
    add(result, u"netRxKbps"_s, figures.network->rxKbps);
    add(result, u"netTxKbps"_s, figures.network->txKbps);
  }
  if (!figures.top.empty()) {
    QJsonArray top;
    for (const ProcessFigures& process : figures.top) top.append(toJson(process));
    result.insert(u"top"_s, top);
  }
  return result;
}

}  // namespace vantora
