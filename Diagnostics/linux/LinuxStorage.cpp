#include <sys/statvfs.h>

#include <QFile>

#include "Diagnostics/FolderSize.h"
#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/text/StorageText.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

// Measuring a folder that does not exist would only cost a process.
qint64 presentKB(const Probe& probe, const QString& path) {
  return probe.answers(path) ? parseFolderKB(probe.plain(folderSizeCommand(path))) : 0;
}

QString downloadFolder(const Probe& probe) {
  const QString list = probe.userFolder(u"XDG_CONFIG_HOME"_s, u".config"_s) + "/user-dirs.dirs"_L1;
  for (const QString& line : trimmedLines(probe.answers(list) ? probe.text(list) : QString())) {
    if (!line.startsWith("XDG_DOWNLOAD_DIR="_L1)) continue;
    QString folder = line.mid(17).remove(u'"');
    if (folder.startsWith("$HOME/"_L1)) folder = probe.home() + folder.mid(5);
    // A folder that is the whole home means "not set".
    if (folder.startsWith(u'/') && folder != probe.home() && folder != probe.home() + u'/') return folder;
  }
  return probe.home() + "/Downloads"_L1;
}

qint64 packagesKB(const Probe& probe) {
  constexpr qint64 kStatusLimit = 1 << 26;
  const qint64 debian = installedKB(probe.bytes(u"/var/lib/dpkg/status"_s, kStatusLimit));
  if (debian > 0) return debian;
  const QString rpm = probe.tool(u"rpm"_s);
  if (rpm.isEmpty()) return 0;
  const QString sum =
      probe.plain(rpm + R"( -qa --queryformat '%{SIZE}\n' 2>/dev/null | awk '{s+=$1} END {printf "%.0f", s/1024}')"_L1);
  return toInteger(sum).value_or(0);
}

}  // namespace

QJsonObject volume(const Probe& probe) {
  struct statvfs figures {};
  if (statvfs(QFile::encodeName(probe.under(u"/"_s)).constData(), &figures) != 0) return {};
  const auto kib = [&](fsblkcnt_t blocks) {
    return static_cast<qint64>(static_cast<double>(blocks) * static_cast<double>(figures.f_frsize) / 1024);
  };
  // As df counts: what is reserved for the administrator is neither used nor available.
  return toJson(Volume{kib(figures.f_blocks), kib(figures.f_blocks - figures.f_bfree), kib(figures.f_bavail)});
}

QJsonObject caches(const Probe& probe) {
  return {{u"cachesPretty"_s, bytesPretty(presentKB(probe, probe.userFolder(u"XDG_CACHE_HOME"_s, u".cache"_s)))}};
}

QJsonObject downloads(const Probe& probe) {
  return {{u"downloadsPretty"_s, bytesPretty(presentKB(probe, downloadFolder(probe)))}};
}

QJsonObject applications(const Probe& probe) {
  const qint64 kb = packagesKB(probe) + presentKB(probe, u"/opt"_s) + presentKB(probe, u"/var/lib/flatpak"_s);
  return {{u"appsPretty"_s, bytesPretty(kb)}};
}

QJsonObject deviceBackups(const Probe& probe) {
  const QString folder = probe.userFolder(u"XDG_DATA_HOME"_s, u".local/share"_s) + "/MobileSync/Backup"_L1;
  return {{u"iosBackupsPretty"_s, bytesPretty(presentKB(probe, folder))}};
}

QJsonObject indexing(const Probe& probe) {
  const bool hasBus = probe.options().environment.contains(u"DBUS_SESSION_BUS_ADDRESS"_s) ||
                      probe.answers(probe.userFolder(u"XDG_RUNTIME_DIR"_s, u".runtime"_s) + "/bus"_L1);
  const auto status = [&](const QString& name) {
    const QString tool = hasBus ? probe.tool(name) : QString();
    return tool.isEmpty() ? QString() : probe.plain(tool + " status 2>/dev/null"_L1);
  };
  QString line;
  for (const QString& name : {u"balooctl6"_s, u"balooctl"_s}) {
    if (line.isEmpty()) line = balooStatus(status(name));
  }
  for (const QString& name : {u"localsearch"_s, u"tracker3"_s}) {
    if (line.isEmpty()) line = trackerStatus(status(name));
  }
  return {{u"spotlightStatus"_s, line.isEmpty() ? u"Unknown"_s : line}};
}

}  // namespace vantora::Diagnostics::onLinux
