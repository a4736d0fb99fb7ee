// Identity of a Linux machine: the machine id of the system, and its host name.
#pragma once

#include <QStringList>
#include <functional>

#include "platform/MachineIdentity.h"

namespace vantora {

// Purpose: reads the identity anew at each call. Thread: main. Owner: whoever chooses the room.
class LinuxMachineIdentity final : public MachineIdentity {
 public:
  // Where the identity comes from; the defaults are the system's own places.
  struct Sources {
    QStringList machineIdFiles{QStringLiteral("/etc/machine-id"), QStringLiteral("/var/lib/dbus/machine-id")};
    // The host name the kernel holds, empty when it cannot be read.
    std::function<QString()> hostName;
  };
  LinuxMachineIdentity();
  explicit LinuxMachineIdentity(Sources sources);

  // The first file's text that is a machine id: 32 hexadecimal digits, not all zero. A machine that
  // has not finished its first start holds "uninitialized" or nothing there, which counts as missing.
  [[nodiscard]] std::optional<QString> hardwareUuid() const override;
  // The kernel's host name. The names that stand for "no name given", "localhost" and "(none)", count
  // as missing: many machines share them.
  [[nodiscard]] std::optional<QString> localizedHostName() const override;

 private:
  Sources sources_;
};

}  // namespace vantora
