#pragma once

#include <QString>
#include <vector>

// How hot the machine is. Pure functions, any thread.
namespace vantora::Diagnostics {

// A temperature above which something happens.
struct Trip {
  enum class Kind { passive, hot, critical };  // slows down, acts, shuts down
  Kind kind = Kind::passive;
  int milliCelsius = 0;
};

// One sensor with its limits.
struct ThermalZone {
  int milliCelsius = 0;
  std::vector<Trip> trips;
};

// "critical", "serious" or "fair" when some zone has reached such a limit, "nominal" when none has, "unknown" where no
// zone has a limit. Limits at or below freezing mean "not set" and are ignored.
[[nodiscard]] QString thermalState(const std::vector<ThermalZone>& zones);

}  // namespace vantora::Diagnostics
