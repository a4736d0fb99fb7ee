// The table of control messages that a viewer can send: type, gate, acknowledgement.
#pragma once

#include <QLatin1StringView>
#include <span>

namespace vantora {

// The right that a message type needs.
enum class Gate {
  none,
  input,    // remote control is on
  command,  // the viewer may run support commands
  file,     // the local user accepts files
};

// Whether an "ack" follows the handling, and with what.
enum class Acknowledgement {
  never,
  withRequest,     // with the request's "req", when it carried one
  withoutRequest,  // without "req"
};

struct ControlMessageRow {
  QLatin1StringView type;
  Gate gate;
  Acknowledgement acknowledgement;
};

// docs/protocol.md shows the same table; a test compares the two.
std::span<const ControlMessageRow> controlMessageTable();
// The row of `type`, null for an unknown one.
const ControlMessageRow* findControlMessage(QStringView type);

}  // namespace vantora
