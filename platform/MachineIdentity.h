// Identification of this machine.
#pragma once

#include <QString>
#include <optional>

namespace vantora {

// Purpose: stable names of the machine. Thread: main. Owner: the desktop session. A name that the machine lacks is
// nullopt, never an empty text.
class MachineIdentity {
 public:
  virtual ~MachineIdentity() = default;

  // An identifier that stays the same for the life of the installation. Not to be shown or sent: only hashes of it
  // leave the machine.
  [[nodiscard]] virtual std::optional<QString> hardwareUuid() const = 0;
  // The machine's host name in its network. Rooms may be derived from it, so it must not change with the display name.
  [[nodiscard]] virtual std::optional<QString> localizedHostName() const = 0;
  // The display name of the machine; its host name where no display name is set.
  [[nodiscard]] virtual std::optional<QString> prettyHostName() const = 0;
};

}  // namespace vantora
