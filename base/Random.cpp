#include "base/Random.h"

#include <QRandomGenerator>

namespace vantora {

RandomBelow systemRandom() {
  return [](quint32 limit) { return QRandomGenerator::system()->bounded(limit); };
}

}  // namespace vantora
