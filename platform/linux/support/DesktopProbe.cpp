#include "platform/linux/support/DesktopProbe.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include "platform/linux/support/LinuxDownloads.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Folders of system programs that are not in a user's PATH.
const QStringList& systemFolders() {
  static const QStringList folders{u"/usr/local/sbin"_s, u"/usr/sbin"_s, u"/sbin"_s};
  return folders;
}

QByteArray contents(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The dnsmasq processes that resolve names for this system itself.
QList<qint64> systemDnsmasq() {
  QList<qint64> found;
  for (const QString& entry : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
    if (!entry.at(0).isDigit()) continue;
    const QString folder = u"/proc/"_s + entry;
    if (contents(folder + u"/comm"_s).trimmed() != "dnsmasq") continue;
    if (servesThisSystem(contents(folder + u"/cmdline"_s).split('\0'), contents(folder + u"/cgroup"_s))) {
      found.append(entry.toLongLong());
    }
  }
  return found;
}

}  // namespace

bool servesThisSystem(const QList<QByteArray>& arguments, const QByteArray& controlGroups) {
  for (const QByteArray& line : controlGroups.split('\n')) {
    if (line.endsWith("/dnsmasq.service")) return true;
  }
  // The PID files of the packages of Debian and other systems, and of NetworkManager with "dns=dnsmasq".
  for (const char* folder : {"", "/var"}) {
    for (const char* file : {"/run/dnsmasq/dnsmasq.pid", "/run/dnsmasq.pid", "/run/NetworkManager/dnsmasq.pid"}) {
      const QByteArray path = QByteArray(folder) + file;
      for (const QByteArray& argument : arguments) {
        if (argument == path || argument == "-x" + path || argument == "--pid-file=" + path) return true;
      }
    }
  }
  return false;
}

DesktopFacts probeDesktop(const QProcessEnvironment& environment) {
  const QString home = environment.value(u"HOME"_s, QDir::homePath());
  const QString downloads = downloadFolder();
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
  facts.dnsmasq = systemDnsmasq();
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
