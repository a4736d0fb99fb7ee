#include "base/Environment.h"

#include <cstdlib>
#include <map>

namespace vantora {

std::optional<qint64> parseDecimal(QStringView text) {
  QStringView digits = text;
  if (digits.startsWith(u'+') || digits.startsWith(u'-')) digits = digits.sliced(1);
  if (digits.isEmpty()) return std::nullopt;
  for (const QChar c : digits) {
    if (c < u'0' || c > u'9') return std::nullopt;
  }
  bool ok = false;
  const qint64 number = text.toLongLong(&ok, 10);
  if (!ok) return std::nullopt;
  return number;
}

Environment Environment::ofProcess() {
  return Environment([](const char* name) -> std::optional<QString> {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing sets variables
    if (!value) return std::nullopt;
    return QString::fromUtf8(value);
  });
}

Environment Environment::of(std::initializer_list<std::pair<const char*, const char*>> values) {
  std::map<std::string, QString> map;
  for (const auto& [name, value] : values) map[name] = QString::fromUtf8(value);
  return Environment([map = std::move(map)](const char* name) -> std::optional<QString> {
    const auto found = map.find(name);
    if (found == map.end()) return std::nullopt;
    return found->second;
  });
}

std::optional<QString> Environment::nonEmpty(const char* name) const {
  auto text = value(name);
  if (text && text->isEmpty()) return std::nullopt;
  return text;
}

bool Environment::equals(const char* name, QLatin1StringView text) const {
  const auto found = value(name);
  return found && *found == text;
}

std::optional<qint64> Environment::integer(const char* name) const {
  const auto text = value(name);
  if (!text) return std::nullopt;
  return parseDecimal(*text);
}

}  // namespace vantora
