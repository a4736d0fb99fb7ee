#include <gtest/gtest.h>

#include <QJsonArray>

#include "main/telemetry/system/linux/LinuxFigures.h"
#include "tests/fakes/FileOpenDetector.h"
#include "tests/unit/telemetry/system/linux/ProcTree.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class LinuxFiguresTest : public testing::Test {
 protected:
  LinuxFiguresTest() {
    tree_.load(1000, 1000);
    tree_.file(u"meminfo"_s, "MemTotal: 1000 kB\nMemFree: 250 kB\n");
    network(1000, 2000);
    tree_.process(1, "init", 10, 20);
    tree_.process(2, "busy", 10, 5);
    QDir().mkpath(home_.filePath(u"apps"_s));
    QFile program(home_.filePath(u"browser-bin"_s));
    EXPECT_TRUE(program.open(QIODevice::WriteOnly));
    program.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
  }
  LinuxFigures make() {
    return LinuxFigures({.proc = tree_.path(),
                         .rootVolume = "/",
                         .ticksPerSecond = 100,
                         .pageBytes = 4096,
                         .nowSeconds = [this] { return now_; },
                         .pause =
                             [this](const std::stop_token& stop, std::chrono::milliseconds time) {
                               EXPECT_EQ(time, LinuxFigures::kFirstInterval);
                               ++pauses_;
                               now_ += 0.2;
                               if (meanwhile_) meanwhile_();
                               return !stop.stop_requested();
                             },
                         .applications = {.folders = {home_.filePath(u"apps"_s)},
                                          .programFolders = {home_.path()},
                                          .locale = u"de_DE.UTF-8"_s}});
  }
  void network(quint64 rx, quint64 tx) const {
    tree_.file(u"net/dev"_s, "a | b\n lo: 5 0 0 0 0 0 0 0 5 0\neth0: " + QByteArray::number(rx) + " 0 0 0 0 0 0 0 " +
                                 QByteArray::number(tx) + " 0\n");
  }
  void desktopEntry(const QString& id, const QByteArray& exec) const {
    QFile file(home_.filePath(u"apps/"_s + id + u".desktop"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[Desktop Entry]\nType=Application\nName=Browser\nName[de]=Netzsegler\nExec=" + exec + "\n");
  }
  static QStringList names(const SystemFigures& figures) {
    QStringList result;
    for (const ProcessFigures& process : figures.top) result.append(process.name);
    return result;
  }

  ProcTree tree_;
  QTemporaryDir home_;
  double now_ = 100;
  int pauses_ = 0;
  std::function<void()> meanwhile_;
};

TEST_F(LinuxFiguresTest, theFirstCollectionComparesWithAMomentBefore) {
  meanwhile_ = [this] {
    tree_.load(1030, 1010);
    tree_.process(2, "busy", 20, 5);
  };
  LinuxFigures machine = make();
  const SystemFigures figures = machine.collect({});
  EXPECT_EQ(figures.cpuPct, 75);
  EXPECT_EQ(figures.memory, (MemoryFigures{1'024'000, 768'000}));
  EXPECT_TRUE(figures.disk);
  EXPECT_EQ(figures.network, std::nullopt) << "the first sample of the network has nothing to compare with";
  ASSERT_EQ(figures.top.size(), 2U);
  EXPECT_EQ(figures.top[0], (ProcessFigures{2, u"busy"_s, 20'480, 50, std::nullopt}));
  EXPECT_EQ(figures.top[1], (ProcessFigures{1, u"init"_s, 81'920, 0, std::nullopt}));
}

TEST_F(LinuxFiguresTest, laterOnesCompareWithTheOneBefore) {
  LinuxFigures machine = make();
  (void)machine.collect({});
  now_ += 1;
  tree_.load(1020, 1180);
  tree_.process(1, "init", 35, 20);
  network(126'000, 2000);
  const SystemFigures figures = machine.collect({});
  EXPECT_EQ(pauses_, 1);
  EXPECT_EQ(figures.cpuPct, 10);
  EXPECT_EQ(figures.top[0], (ProcessFigures{1, u"init"_s, 81'920, 25, std::nullopt}));
  ASSERT_TRUE(figures.network);
  EXPECT_NEAR(figures.network->rxKbps, 1000, 1e-6);
  EXPECT_NEAR(figures.network->txKbps, 0, 1e-6);
}

TEST_F(LinuxFiguresTest, afterALongPauseLoadsAreFreshAndTheNetworkGoesOnFromItsLastSample) {
  LinuxFigures machine = make();
  (void)machine.collect({});
  now_ += 600 - 0.2;
  network(1000 + 75'000'000, 2000);
  tree_.load(60'000, 1000);
  meanwhile_ = [this] { tree_.load(60'000, 1020); };
  const SystemFigures figures = machine.collect({});
  EXPECT_EQ(pauses_, 2);
  EXPECT_EQ(figures.cpuPct, 0);
  ASSERT_TRUE(figures.network);
  EXPECT_NEAR(figures.network->rxKbps, 1000, 1e-6);
}

TEST_F(LinuxFiguresTest, listsElevenProcesses) {
  for (int pid = 10; pid < 40; ++pid) tree_.process(pid, "p" + QByteArray::number(pid), 0);
  meanwhile_ = [this] {
    for (int pid = 10; pid < 40; ++pid) tree_.process(pid, "p" + QByteArray::number(pid), static_cast<quint64>(pid));
  };
  LinuxFigures machine = make();
  const SystemFigures figures = machine.collect({});
  ASSERT_EQ(figures.top.size(), 11U);
  for (int i = 0; i < 11; ++i) EXPECT_EQ(figures.top[static_cast<std::size_t>(i)].pid, 39 - i);
}

TEST_F(LinuxFiguresTest, eachMissingFileLeavesItsFiguresOut) {
  for (const auto& [file, keys] :
       std::initializer_list<std::pair<QString, QStringList>>{{u"stat"_s, {u"cpuPct"_s}},
                                                              {u"meminfo"_s, {u"memTotalBytes"_s, u"memUsedBytes"_s}},
                                                              {u"net/dev"_s, {u"netRxKbps"_s, u"netTxKbps"_s}}}) {
    tree_.load(1000, 1000);
    tree_.file(u"meminfo"_s, "MemTotal: 1000 kB\nMemFree: 250 kB\n");
    network(1, 1);
    LinuxFigures machine = make();
    (void)machine.collect({});
    now_ += 1;
    tree_.load(1000, 1100);
    const QStringList before = toJson(machine.collect({})).keys();
    tree_.load(1000, 1200);
    tree_.file(file, "garbage");
    now_ += 1;
    const QStringList after = toJson(machine.collect({})).keys();
    for (const QString& key : before) EXPECT_EQ(after.contains(key), !keys.contains(key)) << key.toStdString();
    for (const QString& key : keys) EXPECT_TRUE(before.contains(key)) << key.toStdString();
  }
}

TEST_F(LinuxFiguresTest, aMachineWithoutAnythingHasNothing) {
  LinuxFigures::Sources sources;
  sources.proc = "/no/such/folder";
  sources.rootVolume = "/no/such/folder";
  sources.nowSeconds = [] { return 1.0; };
  sources.pause = [](const std::stop_token&, std::chrono::milliseconds) { return true; };
  LinuxFigures machine(std::move(sources));
  EXPECT_EQ(toJson(machine.collect({})), JsonObject{});
}

TEST_F(LinuxFiguresTest, aStopEndsTheFirstMoment) {
  std::stop_source stop;
  stop.request_stop();
  LinuxFigures machine = make();
  EXPECT_EQ(toJson(machine.collect(stop.get_token())), JsonObject{});
  LinuxFigures real(LinuxFigures::Sources::ofThisMachine());
  EXPECT_EQ(toJson(real.collect(stop.get_token())), JsonObject{});
}

// Names

TEST_F(LinuxFiguresTest, awkwardNamesGiveASoundObject) {
  tree_.process(1, "line\nbreak) (", 0);
  tree_.process(2, "\xff\xfe bytes", 0);
  tree_.process(3, "kworker/0:1", 0);
  tree_.process(4, "", 0);
  LinuxFigures machine = make();
  const SystemFigures figures = machine.collect({});
  EXPECT_TRUE(names(figures).contains(u"line\nbreak) ("_s));
  EXPECT_TRUE(names(figures).contains(u"0:1"_s));
  const JsonObject object = toJson(figures);
  EXPECT_EQ(parseJsonObject(toJson(object)), object);
  EXPECT_EQ(object[u"top"].toArray().size(), 4);
}

TEST_F(LinuxFiguresTest, namesThatTheKernelCutAreCompleted) {
  tree_.process(1, "a-very-long-nam", 0);
  tree_.file(u"1/cmdline"_s, QByteArray("/usr/bin/a-very-long-name-indeed\0--x\0", 37));
  LinuxFigures machine = make();
  EXPECT_TRUE(names(machine.collect({})).contains(u"a-very-long-name-indeed"_s));
}

TEST_F(LinuxFiguresTest, aProcessStuckInTheKernelIsNotAskedForItsMemory) {
  desktopEntry(u"browser"_s, "wrapper");
  const QByteArray entry = QFile::encodeName(home_.filePath(u"apps/browser.desktop"_s));
  tree_.process(1, "a-very-long-nam", 0, 10, 100, 'D');
  tree_.file(u"1/cmdline"_s, QByteArray("/usr/bin/a-very-long-name-indeed\0", 33));
  tree_.process(2, "wrapped", 0, 10, 100, 'D');
  tree_.link(u"2/exe"_s, u"/usr/bin/python3"_s);
  tree_.file(u"2/cmdline"_s, "python3");
  tree_.file(u"2/environ"_s, "GIO_LAUNCHED_DESKTOP_FILE=" + entry + QByteArray(1, '\0') +
                                 "GIO_LAUNCHED_DESKTOP_FILE_PID=2" + QByteArray(1, '\0'));
  fakes::FileOpenDetector watch;
  for (const QString& file : {u"1/cmdline"_s, u"2/cmdline"_s, u"2/environ"_s}) watch.add(tree_.place(file));
  LinuxFigures machine = make();
  EXPECT_EQ(names(machine.collect({})), (QStringList{u"a-very-long-nam"_s, u"wrapped"_s}));
  EXPECT_FALSE(watch.wereOpened());

  // No longer stuck, they get their whole names.
  tree_.process(1, "a-very-long-nam", 0);
  tree_.process(2, "wrapped", 0);
  now_ += 1;
  EXPECT_EQ(names(machine.collect({})), (QStringList{u"a-very-long-name-indeed"_s, u"Netzsegler"_s}));
  // They keep them when they are stuck again.
  tree_.process(1, "a-very-long-nam", 0, 10, 100, 'D');
  tree_.process(2, "wrapped", 0, 10, 100, 'D');
  (void)watch.wereOpened();
  now_ += 1;
  EXPECT_EQ(names(machine.collect({})), (QStringList{u"a-very-long-name-indeed"_s, u"Netzsegler"_s}));
  EXPECT_FALSE(watch.wereOpened());
}

TEST_F(LinuxFiguresTest, aCommandLineThatTellsNothingNewIsNotRead) {
  tree_.file(u"2/cmdline"_s, "/usr/bin/busy");
  tree_.link(u"2/exe"_s, u"/usr/bin/busy"_s);
  tree_.process(1, "exactly-fifteen", 0);
  tree_.file(u"1/cmdline"_s, "/usr/bin/exactly-fifteen-and-more");
  fakes::FileOpenDetector busy;
  busy.add(tree_.place(u"2/cmdline"_s));
  fakes::FileOpenDetector cut;
  cut.add(tree_.place(u"1/cmdline"_s));
  LinuxFigures machine = make();
  EXPECT_EQ(machine.collect({}).top.size(), 2U);
  EXPECT_FALSE(busy.wereOpened());
  EXPECT_TRUE(cut.wereOpened());
}

// Applications

TEST_F(LinuxFiguresTest, aProgramWithADesktopEntryIsAnApplication) {
  desktopEntry(u"browser"_s, "browser-bin %U");
  tree_.link(u"2/exe"_s, home_.filePath(u"browser-bin"_s));
  tree_.link(u"1/exe"_s, u"/usr/lib/systemd/systemd"_s);
  LinuxFigures machine = make();
  const SystemFigures figures = machine.collect({});
  ASSERT_EQ(figures.top.size(), 2U);
  EXPECT_EQ(figures.top[0].application, std::nullopt);
  EXPECT_EQ(figures.top[1].name, u"Netzsegler"_s);
  EXPECT_EQ(figures.top[1].application, (RunningApplication{u"Netzsegler"_s, home_.filePath(u"browser-bin"_s),
                                                            home_.filePath(u"apps/browser.desktop"_s)}));
}

TEST_F(LinuxFiguresTest, aProgramReplacedWhileItRunsIsStillKnown) {
  desktopEntry(u"browser"_s, "browser-bin");
  tree_.link(u"2/exe"_s, home_.filePath(u"browser-bin"_s) + u" (deleted)"_s);
  LinuxFigures machine = make();
  EXPECT_TRUE(names(machine.collect({})).contains(u"Netzsegler"_s));
}

TEST_F(LinuxFiguresTest, aScriptIsKnownByItsPath) {
  desktopEntry(u"browser"_s, "browser-bin");
  tree_.link(u"2/exe"_s, u"/usr/bin/python3.11"_s);
  const QByteArray script = QFile::encodeName(home_.filePath(u"browser-bin"_s));
  tree_.file(u"2/cmdline"_s, QByteArray("python3\0", 8) + script + QByteArray("\0--x\0", 5));
  tree_.link(u"1/exe"_s, u"/usr/bin/less"_s);
  tree_.file(u"1/cmdline"_s, QByteArray("less\0", 5) + script + '\0');
  LinuxFigures machine = make();
  const SystemFigures figures = machine.collect({});
  EXPECT_EQ(names(figures), (QStringList{u"init"_s, u"Netzsegler"_s})) << "one that only reads the script is not";
}

TEST_F(LinuxFiguresTest, theLaunchersNoteCountsForTheProcessItNames) {
  desktopEntry(u"browser"_s, "wrapper");
  const QByteArray entry = QFile::encodeName(home_.filePath(u"apps/browser.desktop"_s));
  const QByteArray note = "A=1" + QByteArray(1, '\0') + "GIO_LAUNCHED_DESKTOP_FILE=" + entry + QByteArray(1, '\0') +
                          "GIO_LAUNCHED_DESKTOP_FILE_PID=2" + QByteArray(1, '\0');
  for (const int pid : {1, 2}) {
    tree_.link(QString::number(pid) + u"/exe"_s, u"/usr/lib/thing/bin"_s);
    tree_.file(QString::number(pid) + u"/environ"_s, note);
  }
  LinuxFigures machine = make();
  EXPECT_EQ(names(machine.collect({})), (QStringList{u"init"_s, u"Netzsegler"_s}));
}

TEST_F(LinuxFiguresTest, aControlGroupNamesTheApplicationButNotWhatItStarted) {
  desktopEntry(u"org.x.Maps"_s, "/usr/bin/flatpak run --command=maps org.x.Maps");
  for (const int pid : {1, 2}) {
    tree_.file(QString::number(pid) + u"/cgroup"_s, "0::/user.slice/app.slice/app-flatpak-org.x.Maps-77.scope\n");
  }
  tree_.link(u"2/exe"_s, u"/app/bin/maps"_s);
  tree_.link(u"1/exe"_s, u"/app/bin/helper"_s);
  LinuxFigures machine = make();
  EXPECT_EQ(names(machine.collect({})), (QStringList{u"init"_s, u"Netzsegler"_s}));
}

TEST_F(LinuxFiguresTest, aProcessThatStartsAnotherProgramIsIdentifiedAgain) {
  desktopEntry(u"browser"_s, "browser-bin");
  tree_.link(u"2/exe"_s, u"/usr/bin/dash"_s);
  LinuxFigures machine = make();
  EXPECT_FALSE(names(machine.collect({})).contains(u"Netzsegler"_s));
  QFile::remove(QString::fromStdString(tree_.path()) + u"/2/exe"_s);
  tree_.link(u"2/exe"_s, home_.filePath(u"browser-bin"_s));
  tree_.process(2, "browser-bin", 10, 5);
  now_ += 1;
  EXPECT_TRUE(names(machine.collect({})).contains(u"Netzsegler"_s));
}

}  // namespace
}  // namespace vantora
