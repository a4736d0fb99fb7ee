#include "platform/linux/support/DesktopProbe.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Where services live that are not in the path of a user.
const QStringList& systemFolders() {
  static const QStringList folders{u"/usr/local/sbin"_s, u"/usr/sbin"_s, u"/sbin"_s};
  return folders;
}

bool isRunning(const QByteArray& name) {
  for (const QString& entry : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
    if (!entry.at(0).isDigit()) continue;
    QFile file(u"/proc/%1/comm"_s.arg(entry));
    if (file.open(QIODevice::ReadOnly) && file.readAll().trimmed() == name) return true;
  }
  return false;
}

}  // namespace

DesktopFacts probeDesktop(const QProcessEnvironment& environment) {
  const QString home = environment.value(u"HOME"_s, QDir::homePath());
  const QString downloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
  const QString runtime = environment.value(u"XDG_RUNTIME_DIR"_s);
  const QString caches = environment.value(u"XDG_CACHE_HOME"_s);
  const QStringList path =
      environment.value(u"PATH"_s, u"/usr/local/bin:/usr/bin:/bin"_s).split(u':', Qt::SkipEmptyParts);
  DesktopFacts facts;
  facts.desktop = desktopKind(environment.value(u"XDG_CURRENT_DESKTOP"_s));
  facts.display = !environment.value(u"DISPLAY"_s).isEmpty() || !environment.value(u"WAYLAND_DISPLAY"_s).isEmpty();
  facts.serviceManager = !runtime.isEmpty() && QFileInfo::exists(runtime + u"/systemd/private"_s);
  facts.resolved = QFileInfo::exists(u"/run/systemd/resolve/io.systemd.Resolve"_s);
  facts.nscd = QFileInfo::exists(u"/run/nscd/socket"_s);
  facts.dnsmasq = isRunning("dnsmasq");
  facts.home = home;
  facts.downloads = downloads;
  facts.downloadsExist = QFileInfo(downloads).isDir();
  facts.caches = caches.startsWith(u'/') ? caches : home + u"/.cache"_s;
  facts.find = [path](const QString& program) {
    const QString found = QStandardPaths::findExecutable(program, path);
    return found.isEmpty() ? QStandardPaths::findExecutable(program, systemFolders()) : found;
  };
  facts.folderExists = [](const QString& folder) { return QFileInfo(folder).isDir(); };
  return facts;
}

}  // namespace vantora
