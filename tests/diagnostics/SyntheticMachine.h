#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include "Diagnostics/Options.h"

namespace vantora::Diagnostics {

// A fake machine for reports: a folder used as "/", tools, and the outputs of commands. An output is found by a piece
// of the command line, the first that matches; a command without one prints nothing. Commands may come from several
// threads.
class SyntheticMachine {
 public:
  SyntheticMachine();

  // Writes a file below the machine's "/".
  void file(const QString& path, const QByteArray& content);
  void folder(const QString& path);
  // A symbolic link whose target is absolute on this machine.
  void link(const QString& path, const QString& target);
  // Installs a tool: an empty program without `script`, else a shell script that can really be run.
  void tool(const QString& name, const QByteArray& script = {});
  // Sets the output of commands whose line contains `piece`.
  void answer(const QString& piece, const QString& output);

  // With the outputs above in place of commands.
  [[nodiscard]] Options options() const;
  // With real commands, this machine's tools and no others.
  [[nodiscard]] Options realOptions() const;

  // The command lines so far.
  [[nodiscard]] QStringList commands() const;
  [[nodiscard]] bool ran(const QString& piece) const;
  // Where a path below "/" really is.
  [[nodiscard]] QString place(const QString& path) const;

 private:
  QString run(const QString& command, double seconds) const;

  QTemporaryDir root_;
  QTemporaryDir tools_;
  QTemporaryDir basics_;
  QList<QPair<QString, QString>> answers_;
  mutable QMutex mutex_;
  mutable QStringList commands_;
};

}  // namespace vantora::Diagnostics
