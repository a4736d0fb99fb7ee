#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

namespace vantora::Diagnostics {

struct PingResult {
  bool ok = false;
  std::optional<double> ms;
};

// What one ping of one packet printed. Pure, any thread.
[[nodiscard]] PingResult parsePing(const QString& text);
// {NAME_ok: bool, NAME_ms: number when known}.
[[nodiscard]] QJsonObject toJson(const QString& name, const PingResult& result);

}  // namespace vantora::Diagnostics
