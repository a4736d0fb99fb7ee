#include "main/control/authorisation/Pin.h"

namespace vantora {
namespace {

constexpr quint32 kPinLimit = 1'000'000;

}  // namespace

QString makePin(const RandomBelow& random) { return QString::number(random(kPinLimit)).rightJustified(6, u'0'); }

}  // namespace vantora
