#include "Diagnostics/text/StorageText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(StorageTextTest, sizesForPeople) {
  EXPECT_EQ(bytesPretty(0), u"0 KB"_s);
  EXPECT_EQ(bytesPretty(1), u"1 KB"_s);
  EXPECT_EQ(bytesPretty(1023), u"1023 KB"_s);
  EXPECT_EQ(bytesPretty(1024), u"1.0 MB"_s);
  EXPECT_EQ(bytesPretty(1'048'575), u"1024.0 MB"_s);
  EXPECT_EQ(bytesPretty(1'048'576), u"1.0 GB"_s);
  EXPECT_EQ(bytesPretty(1'073'741'823), u"1024.0 GB"_s);
  EXPECT_EQ(bytesPretty(1'073'741'824), u"1.0 TB"_s);
  EXPECT_EQ(bytesPretty(2'684'354'560), u"2.5 TB"_s);
}

TEST(StorageTextTest, reportsSizesInNumbersAndForPeople) {
  EXPECT_EQ(toJson(Volume{1000, 250, 600}), QJsonObject({{u"totalKB"_s, 1000},
                                                         {u"usedKB"_s, 250},
                                                         {u"availKB"_s, 600},
                                                         {u"freePct"_s, 60.0},
                                                         {u"totalPretty"_s, u"1000 KB"_s},
                                                         {u"usedPretty"_s, u"250 KB"_s},
                                                         {u"freePretty"_s, u"600 KB"_s}}));
}

TEST(StorageTextTest, anEmptyVolumeHasNoShare) { EXPECT_FALSE(toJson(Volume{0, 0, 0}).contains(u"freePct"_s)); }

TEST(StorageTextTest, findsTheRootAmongMounts) {
  const RootMount root = parseRootMount(
      u"21 1 0:20 / /proc rw - proc proc rw\n22 1 8:1 / / ro - ext4 /dev/old rw\n"
      "24 1 0:31 /@ / rw,relatime shared:1 master:2 - btrfs /dev/mapper/system rw,subvol=/@\n25 24 8:2 / /boot rw - ext4 /dev/sda2 rw"_s);
  EXPECT_EQ(root.device, u"0:31"_s);
  EXPECT_EQ(root.type, u"btrfs"_s);
  EXPECT_EQ(root.source, u"/dev/mapper/system"_s);
  EXPECT_TRUE(parseRootMount(u"22 1 8:1 / /"_s).type.isEmpty());
}

TEST(StorageTextTest, sumsInstalledPackagesOnly) {
  EXPECT_EQ(installedKB("Package: a\nStatus: install ok installed\nInstalled-Size: 100\n\n"
                        "Package: b\nStatus: deinstall ok config-files\nInstalled-Size: 5000\n\n"
                        "Package: c\nInstalled-Size: 23\nStatus: hold ok installed\n"),
            123);
  EXPECT_EQ(installedKB("Package: a\nStatus: install ok installed\nInstalled-Size: many\n"), 0);
  EXPECT_EQ(installedKB({}), 0);
}

TEST(StorageTextTest, countsSnapshots) {
  EXPECT_EQ(countBtrfsSnapshots(
                u"ID 260 gen 12 cgen 11 top level 5 otime 2024-01-02 03:04:05 path a\nID 261 gen 13 path b\nERROR"_s),
            2);
  EXPECT_EQ(countSnapperRows(u"number\n0\n1\n17\n"_s), 2);
  EXPECT_EQ(countSnapperRows(u"No permissions."_s), 0);
}

TEST(StorageTextTest, takesOneLineOfAnIndexer) {
  EXPECT_EQ(
      trackerStatus(
          u"Currently indexed: 123 files, 45 folders\nRemaining space on database partition: 10 GB (20%)\nAll data miners are idle, indexing complete\n\n"_s),
      u"All data miners are idle, indexing complete"_s);
  EXPECT_EQ(balooStatus(u"Baloo File Indexer is running\nIndexer state: Idle\n"_s), u"Baloo File Indexer is running"_s);
  EXPECT_EQ(trackerStatus(QString()), QString());
  EXPECT_EQ(balooStatus(QString()), QString());
}

TEST(StorageTextTest, writesNamesForTheBus) {
  EXPECT_EQ(busPathElement(u"nvme0n1p2"_s), u"nvme0n1p2"_s);
  EXPECT_EQ(busPathElement(u"dm-0"_s), u"dm_2d0"_s);
}

TEST(StorageTextTest, readsTheDrive) {
  EXPECT_EQ(parseDrivePath(u"o \"/org/freedesktop/UDisks2/drives/Disk_1\""_s),
            u"/org/freedesktop/UDisks2/drives/Disk_1"_s);
  EXPECT_EQ(parseDrivePath(u"o \"/\""_s), QString());
  EXPECT_EQ(parseDrivePath(u"Failed to get property"_s), QString());
}

QString ata(const QString& supported, const QString& updated, const QString& failing) {
  return uR"({"type":"a{sv}","data":[{"SmartSupported":{"type":"b","data":%1},"SmartEnabled":{"type":"b","data":true},"SmartUpdated":{"type":"t","data":%2},"SmartFailing":{"type":"b","data":%3}}]})"_s
      .arg(supported, updated, failing);
}

QString nvme(const QString& updated, const QString& warnings) {
  return uR"({"type":"a{sv}","data":[{"SmartUpdated":{"type":"t","data":%1},"SmartCriticalWarning":{"type":"as","data":[%2]}}]})"_s
      .arg(updated, warnings);
}

TEST(StorageTextTest, readsTheHealthOfDisks) {
  EXPECT_EQ(parseSmart(ata(u"true"_s, u"1700000000"_s, u"false"_s)), u"Verified"_s);
  EXPECT_EQ(parseSmart(ata(u"true"_s, u"1700000000"_s, u"true"_s)), u"Failing"_s);
  EXPECT_EQ(parseSmart(ata(u"false"_s, u"0"_s, u"false"_s)), u"Not Supported"_s);
  EXPECT_EQ(parseSmart(ata(u"true"_s, u"0"_s, u"false"_s)), QString()) << "never read is not healthy";
  EXPECT_EQ(parseSmart(nvme(u"1700000000"_s, {})), u"Verified"_s);
  EXPECT_EQ(parseSmart(nvme(u"1700000000"_s, u"\"spare\""_s)), u"Failing"_s);
  EXPECT_EQ(parseSmart(nvme(u"0"_s, {})), QString()) << "never read is not healthy";
  EXPECT_EQ(parseSmart(uR"({"type":"a{sv}","data":[{"SmartCriticalWarning":{"type":"as","data":[]}}]})"_s), QString());
  EXPECT_EQ(parseSmart(uR"({"type":"a{sv}","data":[{}]})"_s), QString());
}

}  // namespace
}  // namespace vantora::Diagnostics
