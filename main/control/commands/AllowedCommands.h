// The support commands that a viewer may request.
#pragma once

#include <QString>
#include <span>

namespace vantora {

// One support command. `commandLine` is the text by which a viewer may name it instead of the id; it is not executed:
// each desktop has its own counterpart.
struct AllowedCommand {
  QLatin1StringView id;
  QLatin1StringView commandLine;
};

// The table, in the order in which texts are searched. Fixed at build time.
std::span<const AllowedCommand> allowedCommandTable();

// The result of resolving a request.
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

// The entry with this id, else the first entry whose command line is exactly `fallback`, else an empty result. Only the
// leading "sudo " is removed. Pure.
ResolvedCommand resolveAllowedCommand(const QString& id, const QString& fallback);

}  // namespace vantora
