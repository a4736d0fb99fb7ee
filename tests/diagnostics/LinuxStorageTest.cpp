#include <QJsonArray>
#include <chrono>

#include "Diagnostics/Diagnostics.h"
#include "tests/diagnostics/Printing.h"
#include "tests/diagnostics/SyntheticMachine.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

void mountRoot(SyntheticMachine& machine, const QByteArray& device, const QByteArray& type, const QByteArray& source) {
  machine.file(u"/proc/self/mountinfo"_s, "22 1 " + device + " / / rw - " + type + ' ' + source + " rw\n");
}

TEST(LinuxStorageTest, anEmptyMachineHasAllTexts) {
  SyntheticMachine machine;
  const QJsonObject storage = storageInfo(machine.options());
  for (const QString& key : {u"cachesPretty"_s, u"downloadsPretty"_s, u"appsPretty"_s, u"iosBackupsPretty"_s}) {
    EXPECT_EQ(storage[key], u"0 KB"_s) << key.toStdString();
  }
  EXPECT_EQ(storage[u"snapshots"_s], 0);
  EXPECT_EQ(storage[u"spotlightStatus"_s], u"Unknown"_s);
  EXPECT_EQ(storage[u"smartStatus"_s], u"Unknown"_s);
  EXPECT_TRUE(machine.commands().isEmpty()) << "nothing to measure, nothing to ask";
}

TEST(LinuxStorageTest, measuresTheUsersFolders) {
  SyntheticMachine machine;
  machine.folder(u"/home/user/.cache"_s);
  machine.folder(u"/home/user/Geladenes \"hier\""_s);
  machine.file(u"/home/user/.config/user-dirs.dirs"_s, "XDG_DOWNLOAD_DIR=\"$HOME/Geladenes\"\n");
  machine.folder(u"/home/user/Geladenes"_s);
  machine.folder(u"/home/user/.local/share/MobileSync/Backup"_s);
  machine.folder(u"/opt"_s);
  machine.file(u"/var/lib/dpkg/status"_s, "Package: a\nStatus: install ok installed\nInstalled-Size: 1024\n");
  machine.answer(u"/.cache\""_s, u"2048"_s);
  machine.answer(u"/Geladenes\""_s, u"1048576"_s);
  machine.answer(u"\"/opt\""_s, u"1024"_s);
  machine.answer(u"Backup\""_s, u"512"_s);
  const QJsonObject storage = storageInfo(machine.options());
  EXPECT_EQ(storage[u"cachesPretty"_s], u"2.0 MB"_s);
  EXPECT_EQ(storage[u"downloadsPretty"_s], u"1.0 GB"_s);
  EXPECT_EQ(storage[u"appsPretty"_s], u"2.0 MB"_s);
  EXPECT_EQ(storage[u"iosBackupsPretty"_s], u"512 KB"_s);
  EXPECT_TRUE(machine.commands().contains(uR"(du -sk "/home/user/.cache" 2>/dev/null | awk '{print $1}')"_s));
}

TEST(LinuxStorageTest, packagesAreAskedForWhereNoListHasTheirSizes) {
  SyntheticMachine machine;
  machine.folder(u"/opt"_s);
  machine.answer(u"\"/opt\""_s, u"1024"_s);
  machine.answer(u"rpm"_s, u"2097152"_s);
  EXPECT_EQ(storageInfo(machine.options())[u"appsPretty"_s], u"1.0 MB"_s) << "not without the tool";
  EXPECT_FALSE(machine.ran(u"rpm"_s));
  machine.tool(u"rpm"_s);
  EXPECT_EQ(storageInfo(machine.options())[u"appsPretty"_s], u"2.0 GB"_s);
  EXPECT_TRUE(machine.ran(u"/rpm' -qa "_s));
  machine.file(u"/var/lib/dpkg/status"_s, "Package: a\nStatus: install ok installed\nInstalled-Size: 1024\n");
  EXPECT_EQ(storageInfo(machine.options())[u"appsPretty"_s], u"2.0 MB"_s) << "the list comes first";
}

TEST(LinuxStorageTest, thePackagesSizesAreAddedUp) {
  SyntheticMachine machine;
  // A package without a size prints "(none)".
  machine.tool(u"rpm"_s, "[ \"$1\" = -qa ] && [ \"$3\" = '%{SIZE}\\n' ] && printf '1048576\\n(none)\\n3145728\\n'\n");
  EXPECT_EQ(storageInfo(machine.realOptions())[u"appsPretty"_s], u"4.0 MB"_s);
}

TEST(LinuxStorageTest, packagesThatTakeTooLongToCountAreZero) {
  SyntheticMachine machine;
  machine.tool(u"rpm"_s, "exec sleep 600\n");
  const Options options = machine.realOptions();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(storageInfo(options)[u"appsPretty"_s], u"0 KB"_s);
  const auto time = std::chrono::steady_clock::now() - start;
  EXPECT_GE(time, std::chrono::milliseconds(2500)) << "it was asked and got its time";
  EXPECT_LT(time, options.deadline);
}

TEST(LinuxStorageTest, foldersThatMovedAreFollowed) {
  SyntheticMachine machine;
  machine.folder(u"/big/cache"_s);
  machine.answer(u"\"/big/cache\""_s, u"4"_s);
  Options options = machine.options();
  options.environment.insert(u"XDG_CACHE_HOME"_s, u"/big/cache"_s);
  EXPECT_EQ(storageInfo(options)[u"cachesPretty"_s], u"4 KB"_s);
}

TEST(LinuxStorageTest, aSizeThatIsNoNumberIsZero) {
  SyntheticMachine machine;
  const Options options = machine.options();
  EXPECT_EQ(duKB(u"/a"_s, options), 0);
  machine.answer(u"\"/b\""_s, u"du: nonsense"_s);
  EXPECT_EQ(duKB(u"/b"_s, options), 0);
  machine.answer(uR"("/c \"d\" \$HOME \`x\` \\")"_s, u"77"_s);
  EXPECT_EQ(duKB(uR"(/c "d" $HOME `x` \)"_s, options), 77) << "a path is never more than a path";
}

TEST(LinuxStorageTest, asksTheDriveBelowEncryptionForItsHealth) {
  SyntheticMachine machine;
  mountRoot(machine, "253:0", "ext4", "/dev/mapper/system");
  machine.folder(u"/sys/devices/virtual/block/dm-0"_s);
  machine.link(u"/sys/dev/block/253:0"_s, u"/sys/devices/virtual/block/dm-0"_s);
  machine.folder(u"/sys/class/block/dm-0/slaves/nvme0n1p3"_s);
  machine.file(u"/run/dbus/system_bus_socket"_s, "");
  machine.tool(u"busctl"_s);
  machine.answer(u"block_devices/nvme0n1p3 "_s, u"o \"/org/freedesktop/UDisks2/drives/Disk_1\""_s);
  machine.answer(
      u"NVMe.Controller"_s,
      uR"({"type":"a{sv}","data":[{"SmartUpdated":{"type":"t","data":1700000000},"SmartCriticalWarning":{"type":"as","data":[]}}]})"_s);
  EXPECT_EQ(storageInfo(machine.options())[u"smartStatus"_s], u"Verified"_s);
  EXPECT_TRUE(machine.ran(u"'/org/freedesktop/UDisks2/drives/Disk_1'"_s));
}

TEST(LinuxStorageTest, findsTheDeviceOfAFileSystemWithANumberOfItsOwn) {
  SyntheticMachine machine;
  mountRoot(machine, "0:31", "btrfs", "/dev/sda2");
  machine.file(u"/dev/sda2"_s, "");
  machine.file(u"/run/dbus/system_bus_socket"_s, "");
  machine.tool(u"busctl"_s);
  machine.answer(u"block_devices/sda2 "_s, u"o \"/org/freedesktop/UDisks2/drives/Disk_2\""_s);
  machine.answer(u"Drive.Ata"_s, uR"({"type":"a{sv}","data":[{"SmartSupported":{"type":"b","data":false}}]})"_s);
  EXPECT_EQ(storageInfo(machine.options())[u"smartStatus"_s], u"Not Supported"_s);
}

TEST(LinuxStorageTest, countsSnapshotsOnce) {
  SyntheticMachine machine;
  mountRoot(machine, "0:31", "btrfs", "/dev/sda2");
  machine.file(u"/run/dbus/system_bus_socket"_s, "");
  machine.tool(u"btrfs"_s);
  machine.tool(u"snapper"_s);
  machine.answer(u"subvolume list -s"_s, u"ID 1 gen 2\nID 2 gen 3"_s);
  machine.answer(u"snapper"_s, u"number\n0\n1\n2\n3"_s);
  EXPECT_EQ(storageInfo(machine.options())[u"snapshots"_s], 3);
}

TEST(LinuxStorageTest, countsCopiesAndSnapshotsOfOtherKinds) {
  SyntheticMachine copies;
  mountRoot(copies, "8:1", "ext4", "/dev/sda1");
  copies.tool(u"btrfs"_s);
  copies.folder(u"/timeshift/snapshots/2024-01-02_03-04-05"_s);
  copies.folder(u"/timeshift/snapshots/2024-01-03_03-04-05"_s);
  EXPECT_EQ(storageInfo(copies.options())[u"snapshots"_s], 2);
  EXPECT_FALSE(copies.ran(u"btrfs"_s));

  SyntheticMachine pool;
  mountRoot(pool, "0:31", "zfs", "rpool/ROOT/debian");
  pool.tool(u"zfs"_s);
  pool.answer(u"'rpool/ROOT/debian'"_s, u"rpool/ROOT/debian@a\nrpool/ROOT/debian@b"_s);
  EXPECT_EQ(storageInfo(pool.options())[u"snapshots"_s], 2);
}

TEST(LinuxStorageTest, indexersSpeakForThemselves) {
  SyntheticMachine machine;
  machine.tool(u"balooctl"_s);
  machine.tool(u"tracker3"_s);
  machine.answer(u"tracker3"_s, u"Currently indexed: 1 file\nAll data miners are idle, indexing complete"_s);
  EXPECT_EQ(storageInfo(machine.options())[u"spotlightStatus"_s], u"Unknown"_s) << "nobody to ask without a session";
  Options options = machine.options();
  options.environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/x"_s);
  EXPECT_EQ(storageInfo(options)[u"spotlightStatus"_s], u"All data miners are idle, indexing complete"_s);
  machine.answer(u"balooctl"_s, u"Baloo is currently disabled. To enable, please run balooctl enable"_s);
  EXPECT_EQ(storageInfo(options)[u"spotlightStatus"_s],
            u"Baloo is currently disabled. To enable, please run balooctl enable"_s);
}

}  // namespace
}  // namespace vantora::Diagnostics
