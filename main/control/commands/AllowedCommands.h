// The vocabulary of support commands: what a viewer may name.
#pragma once

#include <QString>
#include <span>

namespace vantora {

// One support command. `commandLine` is the text by which a viewer may name it instead of the id; it
// is not what runs: each desktop has a counterpart of its own.
struct AllowedCommand {
  QLatin1StringView id;
  QLatin1StringView commandLine;
};

// The table, in the order in which texts are looked up. Fixed at build time.
std::span<const AllowedCommand> allowedCommandTable();

// What a request resolved to.
struct ResolvedCommand {
  // The id of the entry that matched.
  QString id;
  // Its command line without a leading "sudo "; empty when nothing matched.
  QString commandLine;
  // Whether the entry asks for administrator rights.
  bool elevate = false;

  [[nodiscard]] bool allowed() const { return !commandLine.isEmpty(); }
  bool operator==(const ResolvedCommand&) const = default;
};

// The entry with this id, else the first one whose command line is exactly `fallback`, else nothing.
// Only the leading "sudo " is taken off. Pure.
ResolvedCommand resolveAllowedCommand(const QString& id, const QString& fallback);

}  // namespace vantora
