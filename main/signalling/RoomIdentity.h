// Which room the host joins.
//
// Purpose: pure choice from configuration and the machine's identity. Thread: main. No state.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

#include "base/Environment.h"
#include "base/InfoDictionary.h"
#include "platform/MachineIdentity.h"

namespace vantora {

// "demo" when the demo room is chosen, else a configured room in lower case, else
// machineDerivedRoomId(). A configured room is not trimmed or filtered.
// `arguments` begins with the program's name.
[[nodiscard]] QString resolveRoomId(const InfoDictionary& info, const Environment& environment,
                                    const QStringList& arguments, const MachineIdentity& machine);

// The hash of the machine's identifier, else of its host name, else of a random text; the last one
// changes at every start.
[[nodiscard]] QString machineDerivedRoomId(const MachineIdentity& machine);

// The identifier of the machine, if it has one.
[[nodiscard]] std::optional<QString> machineHardwareUUID(const MachineIdentity& machine);

// The first 8 bytes of the SHA-256 of the text's UTF-8 form, as 16 lower-case hex digits.
[[nodiscard]] QString shortHash(const QString& text);

}  // namespace vantora
