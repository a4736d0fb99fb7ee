#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <chrono>
#include <vector>

#include "Diagnostics/Options.h"
#include "Diagnostics/Shell.h"

namespace vantora::Diagnostics {

// Access of one report's collectors to the machine: commands, tools, files and the environment. Created once per
// report, whose time limit starts then. All members are const: several threads may use it at once.
class Probe {
 public:
  explicit Probe(const Options& options);

  [[nodiscard]] const Options& options() const { return options_; }
  // The time is over, or a stop was requested.
  [[nodiscard]] bool isOver() const;
  // When the time is over.
  [[nodiscard]] std::chrono::steady_clock::time_point deadline() const { return deadline_; }

  // Runs a command line through a login shell, for at most 2.5 s and never past the end of the report.
  [[nodiscard]] QString sh(const QString& commandLine) const;
  // The same without the user's login profile, which may take long, print something or set another language; the
  // environment of a desktop session contains its settings already.
  [[nodiscard]] QString plain(const QString& commandLine) const;
  // A tool's full path, ready for a command line; "" when it is not installed (or in a folder that does not respond).
  [[nodiscard]] QString tool(const QString& name) const;
  // Whether a system message bus may exist: without one, running its clients only costs time.
  [[nodiscard]] bool hasSystemBus() const;

  // Below, `path` is absolute and read under Options::root.
  [[nodiscard]] QString under(const QString& path) const;
  [[nodiscard]] bool exists(const QString& path) const;
  // The same for a path that the user or the administrator chose: one on a network file system whose server does not
  // respond within a second counts as missing. To be called before any other access to such a path.
  [[nodiscard]] bool answers(const QString& path) const;
  // The first `limit` bytes of a file; empty when it cannot be read.
  [[nodiscard]] QByteArray bytes(const QString& path, qint64 limit = 1 << 18) const;
  // The same as text without white space at the ends; bytes that are not UTF-8 become replacement characters.
  [[nodiscard]] QString text(const QString& path, qint64 limit = 1 << 18) const;
  // The names in a folder, sorted; those that match `pattern`, if one is given.
  [[nodiscard]] QStringList names(const QString& folder, const QString& pattern = {}) const;

  [[nodiscard]] QString variable(const QString& name) const;
  // The user's folder, and a folder below it that a variable may move ("XDG_CACHE_HOME", ".cache").
  [[nodiscard]] QString home() const;
  [[nodiscard]] QString userFolder(const QString& variableName, const QString& usual) const;

  [[nodiscard]] std::vector<InterfaceAddress> interfaceAddresses() const;

 private:
  const Options options_;
  const std::chrono::steady_clock::time_point deadline_;
  // The folders of PATH without those that do not respond: every search for a tool would block there, a shell's too.
  const QStringList path_;
  const ShellLimits limits_;
  const ShellLimits plainLimits_;
};

// `text` as one word of a shell command, whatever it holds.
[[nodiscard]] QString quoted(const QString& text);
// The same in double quotes.
[[nodiscard]] QString doubleQuoted(const QString& text);

}  // namespace vantora::Diagnostics
