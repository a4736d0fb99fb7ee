// Identity of a Linux machine: the machine id of the system, and its host names.
#pragma once

#include <QByteArray>
#include <QStringList>
#include <functional>

#include "platform/MachineIdentity.h"

namespace vantora {

// Purpose: reads the identity at each call. Thread: main. Owner: LinuxDesktop.
class LinuxMachineIdentity final : public MachineIdentity {
 public:
  // Sources of the identity; the defaults are the system's own files.
  struct Sources {
    QStringList machineIdFiles{QStringLiteral("/etc/machine-id"), QStringLiteral("/var/lib/dbus/machine-id")};
    // File with the pretty host name.
    QString machineInfoFile = QStringLiteral("/etc/machine-info");
    // The kernel's host name; empty when it cannot be read.
    std::function<QString()> hostName;
  };
  LinuxMachineIdentity();
  explicit LinuxMachineIdentity(Sources sources);

  // The content of the first file that holds a machine id: 32 hexadecimal digits, not all zero. Before the end of a
  // machine's first boot the file is empty or holds "uninitialized", which counts as missing.
  [[nodiscard]] std::optional<QString> hardwareUuid() const override;
  // The kernel's host name. The placeholders "localhost" and "(none)" count as missing: many machines share them. Not
  // the pretty host name: rooms are derived from it, and that name is easily changed.
  [[nodiscard]] std::optional<QString> localizedHostName() const override;
  // The pretty host name ("Anna's laptop"); the kernel's where none is set.
  [[nodiscard]] std::optional<QString> prettyHostName() const override;

 private:
  Sources sources_;
};

// The value of PRETTY_HOSTNAME in the text of a machine-info file, which uses the syntax of shell assignments; "" when
// it is missing and for a text that a shell would reject. Pure.
[[nodiscard]] QString prettyHostNameIn(const QByteArray& machineInfo);

}  // namespace vantora
