// Input: one text message of a control channel.
#include <cmath>

#include "main/base/Json.h"
#include "tests/fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantora;
  const auto message = parseJsonObject(QByteArrayView(data, static_cast<qsizetype>(size)));
  if (!message) return 0;
  for (const QString& name : message->keys()) {
    const QByteArray latin = name.toLatin1();
    const QLatin1StringView key(latin);
    const auto number = numberField(*message, key);
    const auto integer = integerField(*message, key);
    fuzz::require(!number || std::isfinite(*number));
    // An integer is a number, and the same one.
    fuzz::require(!integer || (number && *number == static_cast<double>(*integer)));
    const int kinds = (stringField(*message, key) ? 1 : 0) + (boolField(*message, key) ? 1 : 0) + (number ? 1 : 0) +
                      (objectField(*message, key) ? 1 : 0);
    fuzz::require(kinds <= 1);
  }
  return 0;
}
