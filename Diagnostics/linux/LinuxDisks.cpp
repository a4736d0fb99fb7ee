#include <QFileInfo>

#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/text/StorageText.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

RootMount rootMount(const Probe& probe) { return parseRootMount(probe.text(u"/proc/self/mountinfo"_s, 1 << 20)); }

// The disk or partition that holds the root file system, below encryption and volume groups: "nvme0n1p2".
QString rootDevice(const Probe& probe) {
  const RootMount root = rootMount(probe);
  QString name = QFileInfo(probe.under("/sys/dev/block/"_L1 + root.device)).canonicalFilePath();
  // Some file systems have a device number that belongs to no block device.
  if (name.isEmpty()) name = QFileInfo(probe.under(root.source)).canonicalFilePath();
  name = lastPathComponent(name);
  constexpr int kDeepestStack = 8;
  for (int depth = 0; depth < kDeepestStack && !name.isEmpty(); ++depth) {
    const QStringList below = probe.names("/sys/class/block/"_L1 + name + "/slaves"_L1);
    if (below.isEmpty()) break;
    name = below.first();
  }
  return name;
}

// UDisks2's data on the drive; it reads the drive itself, with the rights that this needs.
QString smartStatus(const Probe& probe) {
  const QString tool = probe.tool(u"busctl"_s);
  const QString device = probe.hasSystemBus() && !tool.isEmpty() ? rootDevice(probe) : QString();
  if (device.isEmpty()) return {};
  const QString service = u" org.freedesktop.UDisks2 "_s;
  const QString drive = parseDrivePath(
      probe.plain(tool + " --system get-property"_L1 + service + "/org/freedesktop/UDisks2/block_devices/"_L1 +
                  busPathElement(device) + " org.freedesktop.UDisks2.Block Drive 2>/dev/null"_L1));
  if (drive.isEmpty()) return {};
  for (const QLatin1StringView kind : {"Drive.Ata"_L1, "NVMe.Controller"_L1}) {
    QString status = parseSmart(probe.plain(tool + " --system --json=short call"_L1 + service + quoted(drive) +
                                            " org.freedesktop.DBus.Properties GetAll s org.freedesktop.UDisks2."_L1 +
                                            kind + " 2>/dev/null"_L1));
    if (!status.isEmpty()) return status;
  }
  return {};
}

qint64 fileSystemSnapshots(const Probe& probe) {
  const RootMount root = rootMount(probe);
  if (const QString zfs = probe.tool(u"zfs"_s); root.type == "zfs"_L1 && !zfs.isEmpty()) {
    return trimmedLines(
               probe.plain(zfs + " list -H -t snapshot -o name -d 1 "_L1 + quoted(root.source) + " 2>/dev/null"_L1))
        .size();
  }
  if (root.type != "btrfs"_L1) return 0;
  // The same snapshots, seen by two tools of which an ordinary user may be allowed to use neither, one or both.
  int count = 0;
  if (const QString btrfs = probe.tool(u"btrfs"_s); !btrfs.isEmpty()) {
    count = countBtrfsSnapshots(probe.plain(btrfs + " subvolume list -s / 2>/dev/null"_L1));
  }
  if (const QString snapper = probe.tool(u"snapper"_s); !snapper.isEmpty() && probe.hasSystemBus()) {
    const QString rows = probe.plain(snapper + " --machine-readable csv list --columns number 2>/dev/null"_L1);
    count = qMax(count, countSnapperRows(rows));
  }
  return count;
}

}  // namespace

QJsonObject snapshots(const Probe& probe) {
  // Copies that a backup program makes on file systems without snapshots; one folder each, named after its date.
  const qint64 copies = probe.names(u"/timeshift/snapshots"_s, u"[0-9]*"_s).size();
  return {{u"snapshots"_s, fileSystemSnapshots(probe) + copies}};
}

QJsonObject smart(const Probe& probe) {
  const QString status = smartStatus(probe);
  return {{u"smartStatus"_s, status.isEmpty() ? u"Unknown"_s : status}};
}

}  // namespace vantora::Diagnostics::onLinux
