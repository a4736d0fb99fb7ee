#include <gtest/gtest.h>
#include <unistd.h>

#include <QFile>
#include <QTemporaryDir>

#include "platform/linux/LinuxMachineIdentity.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr const char* kId = "0123456789abcdef0123456789ABCDEF";

class LinuxMachineId : public testing::Test {
 protected:
  QString file(const QString& name, const QByteArray& text) const {
    QString path = folder_.filePath(name);
    QFile out(path);
    EXPECT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(text);
    return path;
  }
  static std::optional<QString> uuidFrom(const QStringList& files) {
    return LinuxMachineIdentity({.machineIdFiles = files, .machineInfoFile = {}, .hostName = {}}).hardwareUuid();
  }
  QTemporaryDir folder_;
};

TEST_F(LinuxMachineId, isTheTrimmedTextOfTheFirstFile) {
  const QString first = file(u"a"_s, QByteArray(kId) + "\n");
  const QString second = file(u"b"_s, QByteArray(32, 'f'));
  EXPECT_EQ(uuidFrom({first, second}), QString::fromLatin1(kId));
}

TEST_F(LinuxMachineId, comesFromTheNextFileWhenTheFirstHasNone) {
  const QString good = file(u"good"_s, kId);
  EXPECT_EQ(uuidFrom({folder_.filePath(u"missing"_s), good}), QString::fromLatin1(kId));
  for (const char* text : {"", "\n", "uninitialized\n", "0123", "0123456789abcdef0123456789abcdeg",
                           "0123456789abcdef0123456789abcdef0", "00000000000000000000000000000000"}) {
    EXPECT_EQ(uuidFrom({file(u"bad"_s, text), good}), QString::fromLatin1(kId)) << text;
  }
}

TEST_F(LinuxMachineId, isEmptyWhenNoFileHoldsOne) {
  EXPECT_EQ(uuidFrom({}), std::nullopt);
  EXPECT_EQ(uuidFrom({folder_.filePath(u"missing"_s), folder_.path(), file(u"bad"_s, "uninitialized\n")}),
            std::nullopt);
}

TEST_F(LinuxMachineId, doesNotReadAnEndlessFile) { EXPECT_EQ(uuidFrom({u"/dev/zero"_s}), std::nullopt); }

std::optional<QString> hostNameOf(const QString& name) {
  return LinuxMachineIdentity({.machineIdFiles = {}, .machineInfoFile = {}, .hostName = [name] { return name; }})
      .localizedHostName();
}

TEST(LinuxHostName, isTheKernelsName) {
  EXPECT_EQ(hostNameOf(u"desk-7"_s), u"desk-7"_s);
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof(name) - 1), 0);
  const auto real = LinuxMachineIdentity().localizedHostName();
  EXPECT_EQ(real, hostNameOf(QString::fromLocal8Bit(name)));
}

TEST(LinuxHostName, isEmptyWhenNoneIsSet) {
  for (const QString& name : {QString(), u"localhost"_s, u"(none)"_s}) EXPECT_EQ(hostNameOf(name), std::nullopt);
}

TEST(PrettyHostName, isWrittenAsAShellAssignment) {
  EXPECT_EQ(prettyHostNameIn("PRETTY_HOSTNAME=Desk\n"), u"Desk"_s);
  EXPECT_EQ(prettyHostNameIn("ICON_NAME=computer\nPRETTY_HOSTNAME=\"Anna's Laptop\"\nCHASSIS=laptop\n"),
            u"Anna's Laptop"_s);
  EXPECT_EQ(prettyHostNameIn("PRETTY_HOSTNAME='a \"b\" $c \\'"), uR"(a "b" $c \)"_s);
  EXPECT_EQ(prettyHostNameIn(R"(PRETTY_HOSTNAME="a \"b\" \$c \\ \` \x")"), uR"(a "b" $c \ ` \x)"_s);
  EXPECT_EQ(prettyHostNameIn(R"(PRETTY_HOSTNAME=My\ Desk' of'"  1" # a comment)"), u"My Desk of  1"_s);
  EXPECT_EQ(prettyHostNameIn("  PRETTY_HOSTNAME=K\xc3\xbc"
                             "che\r\n"),
            u"K\u00fcche"_s);
  EXPECT_EQ(prettyHostNameIn("PRETTY_HOSTNAME=one\nPRETTY_HOSTNAME=two\n"), u"two"_s);
}

TEST(PrettyHostName, isNothingWhenItIsNotGivenOrNotSound) {
  for (const char* text : {"", "\n", "# PRETTY_HOSTNAME=x\n", "PRETTY_HOSTNAME=\n", "PRETTY_HOSTNAME=\"\"",
                           "PRETTY_HOSTNAME=' '", "XPRETTY_HOSTNAME=x", "PRETTY_HOSTNAME=\"no end",
                           "PRETTY_HOSTNAME='no end", "PRETTY_HOSTNAME=\"a\tb\"", "PRETTY_HOSTNAME=\"a\x1b[2J\""}) {
    EXPECT_EQ(prettyHostNameIn(text), QString()) << text;
  }
  EXPECT_EQ(prettyHostNameIn("PRETTY_HOSTNAME=" + QByteArray(256, 'a')).size(), 256);
  EXPECT_EQ(prettyHostNameIn("PRETTY_HOSTNAME=" + QByteArray(257, 'a')), QString());
}

TEST_F(LinuxMachineId, thePrettyNameComesBeforeTheKernelsButMakesNoRoom) {
  const auto machine = [](const QString& info, const QString& kernel) {
    return LinuxMachineIdentity(
        {.machineIdFiles = {}, .machineInfoFile = info, .hostName = [kernel] { return kernel; }});
  };
  const QString info = file(u"machine-info"_s, "PRETTY_HOSTNAME=\"Anna's Laptop\"\n");
  EXPECT_EQ(machine(info, u"desk-7"_s).prettyHostName(), u"Anna's Laptop"_s);
  EXPECT_EQ(machine(info, u"desk-7"_s).localizedHostName(), u"desk-7"_s) << "rooms stay where they are";
  EXPECT_EQ(machine(info, u"localhost"_s).prettyHostName(), u"Anna's Laptop"_s);
  EXPECT_EQ(machine(file(u"other"_s, "CHASSIS=vm\n"), u"desk-7"_s).prettyHostName(), u"desk-7"_s);
  EXPECT_EQ(machine(folder_.filePath(u"missing"_s), u"desk-7"_s).prettyHostName(), u"desk-7"_s);
  EXPECT_EQ(machine(folder_.filePath(u"missing"_s), u"localhost"_s).prettyHostName(), std::nullopt);
  EXPECT_EQ(machine(u"/dev/zero"_s, u"desk-7"_s).prettyHostName(), u"desk-7"_s) << "an endless file is not read";
}

}  // namespace
}  // namespace vantora
