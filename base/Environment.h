// Access to environment variables through an injected lookup, so that the session does not depend on the environment of
// its process.
#pragma once

#include <QString>
#include <functional>
#include <optional>

namespace vantora {

// The decimal integer in `text`: an optional sign and digits only, no blanks, fitting 64 bits.
std::optional<qint64> parseDecimal(QStringView text);

class Environment {
 public:
  using Lookup = std::function<std::optional<QString>(const char* name)>;

  // `lookup` is called again at every access.
  explicit Environment(Lookup lookup) : lookup_(std::move(lookup)) {}
  // The process environment.
  static Environment ofProcess();
  // Fixed values, for tests.
  static Environment of(std::initializer_list<std::pair<const char*, const char*>> values);

  // The value when the variable is present, even if empty.
  std::optional<QString> value(const char* name) const { return lookup_(name); }
  // The value when present and not empty.
  std::optional<QString> nonEmpty(const char* name) const;
  // True when present and exactly `text`.
  bool equals(const char* name, QLatin1StringView text) const;
  // The decimal integer in the variable; empty when absent or not a number.
  std::optional<qint64> integer(const char* name) const;

 private:
  Lookup lookup_;
};

}  // namespace vantora
