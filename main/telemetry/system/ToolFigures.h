// Figures of the machine from the system's own command-line tools.
#pragma once

#include <QString>
#include <functional>

#include "main/telemetry/system/FigureRules.h"
#include "main/telemetry/system/SystemFigures.h"
#include "main/telemetry/system/ToolText.h"

namespace vantora {

// For systems whose tools print what `tooltext` reads. Each collection runs five commands, one after another. Thread:
// one worker at a time. Owner: whoever collects.
class ToolFigures {
 public:
  struct Sources {
    // Runs a command line and gives its standard output, "" when it cannot.
    std::function<QString(const QString& commandLine)> runShell;
    std::function<double()> nowSeconds;
    int processors = 1;
    quint64 memoryBytes = 0;
    tooltext::ApplicationLookup runningApplication;
  };
  explicit ToolFigures(Sources sources) : sources_(std::move(sources)) {}

  [[nodiscard]] SystemFigures collect();

 private:
  Sources sources_;
  NetworkMeter network_;
};

}  // namespace vantora
