// The applications that the desktop has entries for.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <optional>

namespace vantora {

// The fields of one desktop entry that matter here.
struct DesktopEntry {
  QString path;     // of the .desktop file
  QString name;     // localised
  QString program;  // the program that it starts, as written: a name or a path
  bool operator==(const DesktopEntry&) const = default;
};

// Parses a desktop entry. Empty when the text is not an application's entry, or is hidden. `locale` is a name such as
// "de_DE.UTF-8"; its language selects the translation of the name. Pure.
[[nodiscard]] std::optional<DesktopEntry> parseDesktopEntry(const QString& path, const QByteArray& text,
                                                            const QString& locale);

// The program of an "Exec" line: its first word, after "env" and variables; for a sandbox ("flatpak run") the command
// inside it. "" when there is no program. Pure.
[[nodiscard]] QString programOf(const QString& exec);

// Whether this program runs others, as shells and interpreters do: an entry that starts such a program does not
// identify every process that runs it. Pure.
[[nodiscard]] bool runsOthers(const QString& program);

// The desktop id in the name of a control group that a desktop made for an application, as in
// "/user.slice/.../app-gnome-org.gnome.Calculator-1234.scope"; "" for other groups. Pure.
[[nodiscard]] QString desktopIdOfControlGroup(const QString& cgroup);

// All entries of some folders, looked up by program and by id. Thread: one worker. Owner: RunningApplications.
class DesktopEntries {
 public:
  struct Places {
    QStringList folders;         // such as /usr/share/applications; the first that has an id wins
    QStringList programFolders;  // where programs are searched by name
    QString locale;
  };
  explicit DesktopEntries(Places places) : places_(std::move(places)) {}

  // Reads the entries again if one of the folders changed.
  void refresh();
  // The entry that starts the program at this path (symbolic links are followed); null when there is none.
  [[nodiscard]] const DesktopEntry* byProgram(const QString& path) const;
  // The entry with an id ("org.gnome.Calculator"); null when there is none.
  [[nodiscard]] const DesktopEntry* byId(const QString& id) const;
  // The entry in this file; null when there is none.
  [[nodiscard]] const DesktopEntry* byFile(const QString& path) const;

 private:
  void readFolder(const QString& folder, const QString& prefix, int depth);

  const Places places_;
  QList<qint64> stamps_;
  QHash<QString, DesktopEntry> entries_;  // by id
  QHash<QString, QString> idsByProgram_;  // by resolved path
};

}  // namespace vantora
