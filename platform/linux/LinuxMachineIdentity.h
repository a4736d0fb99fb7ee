// Identity of a Linux machine: the machine id of the system, and its host names.
#pragma once

#include <QByteArray>
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
    // Where the name for people is kept.
    QString machineInfoFile = QStringLiteral("/etc/machine-info");
    // The host name the kernel holds, empty when it cannot be read.
    std::function<QString()> hostName;
  };
  LinuxMachineIdentity();
  explicit LinuxMachineIdentity(Sources sources);

  // The first file's text that is a machine id: 32 hexadecimal digits, not all zero. A machine that
  // has not finished its first start holds "uninitialized" or nothing there, which counts as missing.
  [[nodiscard]] std::optional<QString> hardwareUuid() const override;
  // The kernel's host name. The names that stand for "no name given", "localhost" and "(none)", count
  // as missing: many machines share them. Rooms are derived from it, so it is not the name for people, which is easily
  // changed.
  [[nodiscard]] std::optional<QString> localizedHostName() const override;
  // The name that people gave the machine ("Anna's laptop"); the kernel's where there is none.
  [[nodiscard]] std::optional<QString> prettyHostName() const override;

 private:
  Sources sources_;
};

// The value of PRETTY_HOSTNAME in the text of a machine-info file, which is written as assignments of a shell; "" for
// none and for a text that a shell would not take. Pure.
[[nodiscard]] QString prettyHostNameIn(const QByteArray& machineInfo);

}  // namespace vantora
