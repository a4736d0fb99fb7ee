// Limits of a support command.
#pragma once

#include <QtGlobal>
#include <chrono>

namespace vantora {

struct CommandLimits {
  // How long a command may run.
  std::chrono::milliseconds watchdog = std::chrono::seconds(20);
  // Between SIGTERM and SIGKILL to its process group.
  std::chrono::milliseconds grace{500};
  // Bytes kept of each output; the rest is read and discarded, so that the command does not block on a full pipe.
  qsizetype keptBytes = qsizetype{64} << 10;
  // Characters reported of each output.
  qsizetype characters = 8192;
};

}  // namespace vantora
