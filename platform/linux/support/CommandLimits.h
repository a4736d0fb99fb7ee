// What bounds a support command.
#pragma once

#include <QtGlobal>
#include <chrono>

namespace vantora {

struct CommandLimits {
  // How long a command may run.
  std::chrono::milliseconds watchdog = std::chrono::seconds(20);
  // Between asking its group to end and killing it.
  std::chrono::milliseconds grace{500};
  // Bytes that are kept of each output; the rest is read and thrown away, so that the command can end.
  qsizetype keptBytes = qsizetype{64} << 10;
  // Characters that are reported of each output.
  qsizetype characters = 8192;
};

}  // namespace vantora
