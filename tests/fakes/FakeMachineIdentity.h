// A machine with the names that the test gives it.
#pragma once

#include "platform/MachineIdentity.h"

namespace vantora::fakes {

class FakeMachineIdentity final : public MachineIdentity {
 public:
  std::optional<QString> uuid;
  std::optional<QString> hostName;
  std::optional<QString> prettyName;

  std::optional<QString> hardwareUuid() const override { return uuid; }
  std::optional<QString> localizedHostName() const override { return hostName; }
  std::optional<QString> prettyHostName() const override { return prettyName; }
};

}  // namespace vantora::fakes
