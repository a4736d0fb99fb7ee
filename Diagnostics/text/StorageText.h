#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <optional>

// Sizes, snapshots, file indexers and the health of disks. Pure functions, any thread.
namespace vantora::Diagnostics {

// A number of KiB as readable text: "0 KB", "512.0 MB", "1.0 GB", "2.5 TB".
[[nodiscard]] QString bytesPretty(qint64 kb);

struct Volume {
  qint64 totalKB = 0;
  qint64 usedKB = 0;
  qint64 availKB = 0;
};
// {"totalKB", "usedKB", "availKB", "freePct", "totalPretty", "usedPretty", "freePretty"}.
[[nodiscard]] QJsonObject toJson(const Volume& volume);

// Where the root file system comes from.
struct RootMount {
  QString device;  // "major:minor"
  QString type;
  QString source;
};
// /proc/self/mountinfo; of several mounts on "/" the last one is visible.
[[nodiscard]] RootMount parseRootMount(const QString& mountInfo);

// The KiB that the packages in dpkg's status file occupy; 0 when there are none.
[[nodiscard]] qint64 installedKB(const QByteArray& dpkgStatus);

// Rows of `btrfs subvolume list -s`, and of snapper's CSV list without its row 0, which is the present.
[[nodiscard]] int countBtrfsSnapshots(const QString& text);
[[nodiscard]] int countSnapperRows(const QString& csv);

// The status that a file indexer prints, as one line; "" when it prints nothing.
[[nodiscard]] QString trackerStatus(const QString& text);
[[nodiscard]] QString balooStatus(const QString& text);

// A name as UDisks2 writes it in its object paths: letters and digits stay, other bytes become _xx.
[[nodiscard]] QString busPathElement(const QString& name);
// The drive's object path in `busctl get-property ... Drive`; "" when there is none.
[[nodiscard]] QString parseDrivePath(const QString& text);
// "Verified", "Failing", "Not Supported" or "", from `busctl --json=short ... GetAll` on the ATA or NVMe interface.
[[nodiscard]] QString parseSmart(const QString& text);

}  // namespace vantora::Diagnostics
