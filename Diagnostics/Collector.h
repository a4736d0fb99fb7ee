#pragma once

#include <QJsonObject>
#include <QString>
#include <vector>

#include "Diagnostics/Probe.h"

namespace vantora::Diagnostics {

// One independent piece of a section. Pieces of the same section fill different keys.
struct Collector {
  QLatin1StringView section;
  QJsonObject (*collect)(const Probe&);
  enum class Turn {
    first,  // alone, before any command runs: it would find the report's own commands
    early,  // slow; started early, so that the report does not wait for it at its end
    any,
  };
  Turn turn = Turn::any;
};

// The pieces for the system this is built for.
[[nodiscard]] const std::vector<Collector>& collectors();

}  // namespace vantora::Diagnostics
