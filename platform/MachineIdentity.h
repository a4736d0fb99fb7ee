// What tells this machine from others.
#pragma once

#include <QString>
#include <optional>

namespace vantora {

// Purpose: stable names of the machine. Thread: main. Owner: the desktop session.
// An ability that the machine lacks is none, never an empty text.
class MachineIdentity {
 public:
  virtual ~MachineIdentity() = default;

  // An identifier that stays the same for the life of the installation. Not for showing or sending:
  // only hashes of it leave the machine.
  [[nodiscard]] virtual std::optional<QString> hardwareUuid() const = 0;
  // The machine's name in its network. Rooms may be derived from it, so it must not change with what people like to
  // call the machine.
  [[nodiscard]] virtual std::optional<QString> localizedHostName() const = 0;
  // What people call the machine; its name in the network where they call it nothing.
  [[nodiscard]] virtual std::optional<QString> prettyHostName() const = 0;
};

}  // namespace vantora
