// Finding the accessibility bus and connecting to it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/Environment.h"
#include "platform/Accessibility.h"
#include "platform/linux/atspi/DBusCaller.h"

namespace vantora::atspi {

inline const ObjectRef kRegistry{"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"};
inline constexpr const char* kAccessible = "org.a11y.atspi.Accessible";

struct BusEnvironment {
  std::string address;         // Of the accessibility bus, when the environment names it; else empty.
  std::string sessionAddress;  // Of the session bus; empty without one.
};

// Reads AT_SPI_BUS_ADDRESS, DBUS_SESSION_BUS_ADDRESS and XDG_RUNTIME_DIR.
BusEnvironment readBusEnvironment(const Environment& environment);

struct OpenedBus {
  AccessibilityTrust trust = AccessibilityTrust::absent;
  std::unique_ptr<DBusCaller> caller;  // Set when granted.
};

// Finds the running bus and connects to it: named by the environment, or by the service on the session bus, or else at
// `otherAddress()` (empty: no address). No service is started: a running bus would make applications publish their user
// interfaces. Blocks until `deadline` at most.
OpenedBus openBus(const BusEnvironment& environment, const std::function<std::string()>& otherAddress,
                  Deadline deadline);

}  // namespace vantora::atspi
