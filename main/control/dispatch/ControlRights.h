// What a viewer may do, and which gate that opens.
#pragma once

#include "main/control/dispatch/ControlMessageTable.h"

namespace vantora {

// The state that decides about rights.
struct ControlRights {
  // The local user's consent to remote control, and to files.
  bool allowRemoteControl = false;
  bool allowIncomingFiles = false;
  // The viewer gave the PIN.
  bool controlAuthed = false;
  // Remote control is on.
  bool controlEnabled = false;
  // The demonstration room, where every PIN is accepted.
  bool demoRoom = false;
};

// Whether `gate` is open. Nothing else decides rights. Pure.
constexpr bool isOpen(Gate gate, const ControlRights& rights) {
  switch (gate) {
    case Gate::none:
      return true;
    case Gate::input:
      return rights.controlEnabled;
    case Gate::command:
      return rights.allowRemoteControl && (rights.controlAuthed || rights.demoRoom);
    case Gate::file:
      return rights.allowIncomingFiles;
  }
  return false;
}

}  // namespace vantora
