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

// A machine for reports: a folder that stands for "/", tools, and what commands print. Answers are looked up by a piece
// of the command line, the first that fits; a command without an answer prints nothing. Commands may come from several
// threads.
class MadeUpMachine {
 public:
  MadeUpMachine();

  // Writes a file below the machine's "/".
  void file(const QString& path, const QByteArray& content);
  void folder(const QString& path);
  // A symbolic link whose target is absolute on this machine.
  void link(const QString& path, const QString& target);
  // Installs a tool: an empty program without `script`, else a shell script that can really be run.
  void tool(const QString& name, const QByteArray& script = {});
  // What commands print whose line contains `piece`.
  void answer(const QString& piece, const QString& output);

  // With the answers above in place of commands.
  [[nodiscard]] Options options() const;
  // With real commands, this machine's tools and no others.
  [[nodiscard]] Options realOptions() const;

  // The command lines so far.
  [[nodiscard]] QStringList commands() const;
  [[nodiscard]] bool ran(const QString& piece) const;
  // Where a path below "/" really is.
  [[nodiscard]] QString place(const QString& path) const;

 private:
  QTemporaryDir root_;
  QTemporaryDir tools_;
  QTemporaryDir basics_;
  QList<QPair<QString, QString>> answers_;
  mutable QMutex mutex_;
  mutable QStringList commands_;
};

}  // namespace vantora::Diagnostics
