#include "Diagnostics/text/ThermalText.h"

#include <QStringList>
#include <algorithm>

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QString thermalState(const std::vector<ThermalZone>& zones) {
  bool hasLimit = false;
  int level = 0;
  for (const ThermalZone& zone : zones) {
    for (const Trip& trip : zone.trips) {
      if (trip.milliCelsius <= 0) continue;
      hasLimit = true;
      if (zone.milliCelsius >= trip.milliCelsius) level = std::max(level, 1 + static_cast<int>(trip.kind));
    }
  }
  if (!hasLimit) return u"unknown"_s;
  static const QStringList kStates = {u"nominal"_s, u"fair"_s, u"serious"_s, u"critical"_s};
  return kStates[level];
}

}  // namespace vantora::Diagnostics
