#include "main/telemetry/system/linux/DesktopEntries.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr qint64 kLongestEntry = 1 << 18;
constexpr qsizetype kMaxEntries = 4096;
constexpr int kDeepestFolder = 3;

QString lastComponent(const QString& path) { return path.mid(path.lastIndexOf(u'/') + 1); }

// Words of an Exec line; blanks in double quotes do not separate words.
QStringList execWords(const QString& exec) {
  QStringList words;
  QString word;
  bool quoted = false;
  bool started = false;
  for (qsizetype i = 0; i < exec.size(); ++i) {
    const QChar c = exec[i];
    if (c == u'\\' && quoted && i + 1 < exec.size()) {
      word += exec[++i];
    } else if (c == u'"') {
      quoted = !quoted;
      started = true;
    } else if (c.isSpace() && !quoted) {
      if (started) words.append(std::exchange(word, {}));
      started = false;
    } else {
      word += c;
      started = true;
    }
  }
  if (started) words.append(word);
  return words;
}

// How well the locale in brackets after a key matches: 0 not at all, 1 untranslated text, 2 language, 3 completely.
int suitability(const QString& bracket, const QString& locale) {
  if (bracket.isEmpty()) return 1;
  const QString plain = locale.section(u'.', 0, 0).section(u'@', 0, 0);
  if (bracket == plain) return 3;
  return !plain.isEmpty() && bracket == plain.section(u'_', 0, 0) ? 2 : 0;
}

}  // namespace

bool runsOthers(const QString& program) {
  static const QStringList kNames = {
      u"sh"_s,     u"bash"_s,    u"dash"_s,     u"zsh"_s,         u"fish"_s,  u"env"_s,       u"perl"_s,   u"ruby"_s,
      u"node"_s,   u"java"_s,    u"gjs"_s,      u"gjs-console"_s, u"wine"_s,  u"sudo"_s,      u"pkexec"_s, u"snap"_s,
      u"busctl"_s, u"flatpak"_s, u"xdg-open"_s, u"dbus-send"_s,   u"gdbus"_s, u"systemctl"_s, u"busybox"_s};
  const QString name = lastComponent(program);
  return kNames.contains(name) || name.startsWith("python"_L1);
}

QString programOf(const QString& exec) {
  QStringList words = execWords(exec);
  if (lastComponent(words.value(0)) == "env"_L1) {
    words.removeFirst();
    while (!words.isEmpty() && (words.first().contains(u'=') || words.first().startsWith(u'-'))) words.removeFirst();
  }
  if (lastComponent(words.value(0)) == "flatpak"_L1) {
    for (const QString& word : words) {
      if (word.startsWith("--command="_L1)) return word.mid(10);
    }
  }
  return words.value(0);
}

std::optional<DesktopEntry> parseDesktopEntry(const QString& path, const QByteArray& text, const QString& locale) {
  DesktopEntry entry{path, {}, {}};
  int best = 0;
  bool inside = false;
  bool application = false;
  for (const QByteArray& raw : text.split('\n')) {
    const QString line = QString::fromUtf8(raw).trimmed();
    if (line.startsWith(u'[')) {
      if (inside) break;
      inside = line == "[Desktop Entry]"_L1;
    }
    const qsizetype equals = line.indexOf(u'=');
    if (!inside || equals < 0) continue;
    const QString key = line.left(equals).trimmed();
    const QString value = line.mid(equals + 1).trimmed();
    const QString plainKey = key.section(u'[', 0, 0);
    if (key == "Type"_L1) application = value == "Application"_L1;
    if (key == "Hidden"_L1 && value == "true"_L1) return std::nullopt;
    if (key == "Exec"_L1) entry.program = programOf(value);
    if (plainKey != "Name"_L1) continue;
    const int suits = suitability(key.section(u'[', 1).section(u']', 0, 0), locale);
    if (suits > best) {
      best = suits;
      entry.name = value;
    }
  }
  if (!application || entry.program.isEmpty()) return std::nullopt;
  return entry;
}

QString desktopIdOfControlGroup(const QString& cgroup) {
  // Takes the innermost of the nested groups that names an application: "app[-LAUNCHER]-ID-NUMBER.scope", or
  // "app[-LAUNCHER]-ID[@NUMBER].service", with dashes of the id written as "\x2d".
  QStringList parts = cgroup.trimmed().split(u'/');
  while (!parts.isEmpty()) {
    const QString part = parts.takeLast();
    const bool scope = part.endsWith(".scope"_L1);
    if (!part.startsWith("app-"_L1) || !(scope || part.endsWith(".service"_L1))) continue;
    QString id = part.left(part.lastIndexOf(u'.'));
    if (scope) id.truncate(id.lastIndexOf(u'-'));
    id = id.section(u'@', 0, 0);
    id = id.mid(id.lastIndexOf(u'-') + 1);
    return id.replace("\\x2d"_L1, "-"_L1);
  }
  return {};
}

void DesktopEntries::refresh() {
  QList<qint64> stamps;
  for (const QString& folder : places_.folders) {
    stamps.append(QFileInfo(folder).lastModified().toMSecsSinceEpoch());
  }
  if (stamps == stamps_) return;
  stamps_ = stamps;
  entries_.clear();
  idsByProgram_.clear();
  for (const QString& folder : places_.folders) readFolder(folder, {}, 0);
}

void DesktopEntries::readFolder(const QString& folder, const QString& prefix, int depth) {
  const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
  for (const QFileInfo& file : files) {
    if (entries_.size() >= kMaxEntries) return;
    if (file.isDir()) {
      // The id of an entry in a subfolder begins with the folder's name.
      if (depth < kDeepestFolder) readFolder(file.filePath(), prefix + file.fileName() + u'-', depth + 1);
      continue;
    }
    const QString id = prefix + file.completeBaseName();
    QFile content(file.filePath());
    if (file.suffix() != "desktop"_L1 || entries_.contains(id) || !content.open(QIODevice::ReadOnly)) continue;
    const auto entry = parseDesktopEntry(file.filePath(), content.read(kLongestEntry), places_.locale);
    if (!entry) continue;
    entries_.insert(id, *entry);
    QString program = entry->program;
    for (const QString& place : places_.programFolders) {
      if (program.contains(u'/')) break;
      if (const QString found = place + u'/' + program; QFileInfo(found).isExecutable()) program = found;
    }
    const QString resolved = QFileInfo(program).canonicalFilePath();
    // The first entry that names a program is used for it.
    const bool names = !resolved.isEmpty() && !runsOthers(program) && !runsOthers(resolved);
    if (names && !idsByProgram_.contains(resolved)) idsByProgram_.insert(resolved, id);
  }
}

const DesktopEntry* DesktopEntries::byProgram(const QString& path) const { return byId(idsByProgram_.value(path)); }

const DesktopEntry* DesktopEntries::byId(const QString& id) const {
  const auto found = entries_.constFind(id);
  return found == entries_.cend() ? nullptr : &*found;
}

const DesktopEntry* DesktopEntries::byFile(const QString& path) const {
  for (const DesktopEntry& entry : entries_) {
    if (entry.path == path) return &entry;
  }
  return nullptr;
}

}  // namespace vantora
