#include <QJsonArray>

#include "Diagnostics/Diagnostics.h"
#include "tests/diagnostics/LoopbackPage.h"
#include "tests/diagnostics/Printing.h"
#include "tests/diagnostics/SyntheticMachine.h"
#include "tests/fakes/Processes.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

// Tools that a report may run; the fake machine has what makes the report use each of them.
const QStringList kTools = {u"apt"_s,         u"balooctl"_s,  u"btrfs"_s,      u"busctl"_s,
                            u"coredumpctl"_s, u"gsettings"_s, u"iw"_s,         u"journalctl"_s,
                            u"localsearch"_s, u"nft"_s,       u"nmcli"_s,      u"ping"_s,
                            u"snapper"_s,     u"systemctl"_s, u"resolvectl"_s, u"tracker3"_s};

void askEverything(SyntheticMachine& machine, const QByteArray& script) {
  machine.folder(u"/sys/class/net/wlan0/wireless"_s);
  machine.file(u"/run/dbus/system_bus_socket"_s, "");
  machine.folder(u"/run/systemd/system"_s);
  machine.folder(u"/run/log/journal/0123"_s);
  machine.file(u"/etc/resolv.conf"_s, "nameserver 127.0.0.1\n");
  machine.file(u"/var/lib/dpkg/status"_s, "");
  machine.file(u"/proc/self/mountinfo"_s, "22 1 0:31 / / rw - btrfs /dev/sda2 rw\n");
  machine.file(u"/dev/sda2"_s, "");
  for (const QString& name : kTools) machine.tool(name, script);
}

Options askEverythingOptions(const SyntheticMachine& machine) {
  Options options = machine.realOptions();
  options.environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/x"_s);
  return options;
}

void expectSound(const QJsonObject& report) {
  EXPECT_EQ(report.size(), 9);
  const QByteArray json = QJsonDocument(report).toJson(QJsonDocument::Compact);
  EXPECT_LT(json.size(), 200'000);
  EXPECT_EQ(QJsonDocument::fromJson(json).object(), report);
}

TEST(RealToolsTest, toolsThatHangCostNoMoreThanTheDeadline) {
  SyntheticMachine machine;
  askEverything(machine, "sleep 300 & sleep 300\n");
  Options options = askEverythingOptions(machine);
  options.deadline = std::chrono::milliseconds(1500);
  const Stopwatch watch;
  const QJsonObject report = run(options);
  EXPECT_LT(watch.seconds(), 10);
  expectSound(report);
  EXPECT_EQ(report[u"updates"_s][u"available"_s], QJsonValue(QJsonArray()));
  EXPECT_EQ(report[u"storage"_s][u"spotlightStatus"_s], u"Unknown"_s);
}

TEST(RealToolsTest, stoppingDoesNotWaitForTools) {
  SyntheticMachine machine;
  const QString mark = machine.place(u"/started"_s);
  machine.folder(u"/"_s);
  askEverything(machine, "touch '" + mark.toUtf8() + "'\nsleep 300\n");
  Options options = askEverythingOptions(machine);
  options.deadline = std::chrono::minutes(5);
  std::stop_source source;
  options.stop = source.get_token();
  std::jthread stopper([&] {
    EXPECT_TRUE(becomesTrue([&] { return QFile::exists(mark); }));
    source.request_stop();
  });
  const Stopwatch watch;
  expectSound(run(options));
  // Without the stop the tools alone would take their limit of 2.5 s many times over.
  EXPECT_LT(watch.seconds(), 12);
}

TEST(RealToolsTest, garbageLeavesASoundReport) {
  SyntheticMachine machine;
  askEverything(machine, "printf '\\033[31m{\"data\": [ \\000 %%s | : \\\\ \\n\\n*:::\\n7|nan|inf\\n[oops'\n");
  const QJsonObject report = run(askEverythingOptions(machine));
  expectSound(report);
  EXPECT_EQ(report[u"storage"_s][u"smartStatus"_s], u"Unknown"_s);
  EXPECT_EQ(report[u"ping"_s][u"internet_ok"_s], false);
}

TEST(RealToolsTest, outputThatIsNotUtf8IsLeftOut) {
  SyntheticMachine machine;
  askEverything(machine, "printf 'bad \\377\\376 bytes'\n");
  const QJsonObject report = run(askEverythingOptions(machine));
  expectSound(report);
  EXPECT_EQ(report[u"storage"_s][u"spotlightStatus"_s], u"Unknown"_s);
}

TEST(RealToolsTest, silentToolsLeaveASoundReport) {
  SyntheticMachine machine;
  askEverything(machine, "exit 1\n");
  const QJsonObject report = run(askEverythingOptions(machine));
  expectSound(report);
  EXPECT_EQ(report[u"network"_s][u"vpn"_s], QJsonValue(QJsonArray()));
}

TEST(RealToolsTest, aToolThatPrintsAHundredMegabytesDoesNotFillMemory) {
  SyntheticMachine machine;
  machine.tool(u"balooctl"_s, "head -c 100000000 /dev/zero | tr '\\0' x\n");
  Options options = askEverythingOptions(machine);
  const QJsonObject storage = storageInfo(options);
  EXPECT_EQ(storage[u"spotlightStatus"_s].toString().size(), 1000);
}

TEST(RealToolsTest, toolsSpeakEnglishWhateverTheUsersLanguage) {
  SyntheticMachine machine;
  machine.tool(u"balooctl"_s, "echo \"$LC_ALL/$LANGUAGE/\"\n");
  Options options = askEverythingOptions(machine);
  options.environment.insert(u"LC_ALL"_s, u"fr_FR.UTF-8"_s);
  options.environment.insert(u"LANGUAGE"_s, u"fr"_s);
  EXPECT_EQ(storageInfo(options)[u"spotlightStatus"_s], u"C.UTF-8//"_s);
}

TEST(RealToolsTest, aProfileThatHangsOrTalksDoesNotTouchTheReport) {
  SyntheticMachine machine;
  const QByteArray profile = "echo Welcome back\nexport LC_ALL=de_DE.UTF-8\nsleep 300\n";
  machine.file(u"/home/.bash_profile"_s, profile);
  machine.file(u"/home/.env"_s, profile);
  machine.tool(u"balooctl"_s, "echo indexing in $LC_ALL\n");
  Options options = askEverythingOptions(machine);
  options.environment.insert(u"HOME"_s, machine.place(u"/home"_s));
  options.environment.insert(u"BASH_ENV"_s, machine.place(u"/home/.env"_s));
  const QJsonObject report = run(options);
  EXPECT_EQ(report[u"storage"_s][u"spotlightStatus"_s], u"indexing in C.UTF-8"_s);
  EXPECT_EQ(report[u"network"_s][u"portal"_s][u"status"_s], u"unknown"_s) << "what the profile prints is no page";
}

TEST(RealToolsTest, toolsAreTakenFromThePathFirst) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s, "echo \"$*\" > '" + machine.place(u"/arguments"_s).toUtf8() +
                              "'\necho '1 packets transmitted, 1 received'\necho 'time=0.5 ms'\n");
  machine.folder(u"/"_s);
  Options options = machine.realOptions();
  options.toolFolders = {u"/usr/bin"_s, u"/bin"_s};
  EXPECT_EQ(reachability(options), QJsonObject({{u"internet_ok"_s, true}, {u"internet_ms"_s, 0.5}}));
  QFile file(machine.place(u"/arguments"_s));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll().trimmed(), "-n -c 1 -W 0.8 127.0.0.1");
}

QString portalOf(const QString& url) {
  const SyntheticMachine machine;
  Options options = machine.realOptions();
  options.captivePageUrl = url;
  return networkInfo(options)[u"portal"_s][u"status"_s].toString();
}

TEST(RealToolsTest, distinguishesAnOpenNetworkFromAPortal) {
  const LoopbackPage open("HTTP/1.1 200 OK\r\nContent-Length: 8\r\nConnection: close\r\n\r\nsuccess\n");
  EXPECT_EQ(portalOf(open.url()), u"open"_s);
  const LoopbackPage login("HTTP/1.1 200 OK\r\nContent-Length: 12\r\nConnection: close\r\n\r\n<html>log in");
  EXPECT_EQ(portalOf(login.url()), u"captive"_s);
  const LoopbackPage redirect("HTTP/1.1 302 Found\r\nLocation: " + login.url().toUtf8() +
                              "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(portalOf(redirect.url()), u"captive"_s) << "a portal may send visitors elsewhere";
}

TEST(RealToolsTest, aPageThatDoesNotAnswerIsUnknown) {
  QString closed;
  {
    const LoopbackPage gone("HTTP/1.1 200 OK\r\n\r\nsuccess");
    closed = gone.url();
  }
  EXPECT_EQ(portalOf(closed), u"unknown"_s);
  const LoopbackPage silent({});
  const Stopwatch watch;
  EXPECT_EQ(portalOf(silent.url()), u"unknown"_s);
  EXPECT_LT(watch.seconds(), 10);
}

}  // namespace
}  // namespace vantora::Diagnostics
