// Every name of the configuration with its default, for --help and the documentation.
#pragma once

#include <QString>
#include <span>

namespace vantora {

enum class ConfigurationSource { environment, information, argument };

struct ConfigurationName {
  const char* name;
  ConfigurationSource source;
  const char* defaultText;
  const char* meaning;
};

// In the order of docs/configuration.md, whose names and defaults a test compares with this table.
std::span<const ConfigurationName> configurationNames();

// The text of --help.
QString helpText();

}  // namespace vantora
