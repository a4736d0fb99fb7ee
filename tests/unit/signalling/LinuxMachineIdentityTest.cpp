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
    const QString path = folder_.filePath(name);
    QFile out(path);
    EXPECT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(text);
    return path;
  }
  static std::optional<QString> uuidFrom(const QStringList& files) {
    return LinuxMachineIdentity({.machineIdFiles = files, .hostName = {}}).hardwareUuid();
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

TEST_F(LinuxMachineId, isNoneWhenNoFileHoldsOne) {
  EXPECT_EQ(uuidFrom({}), std::nullopt);
  EXPECT_EQ(uuidFrom({folder_.filePath(u"missing"_s), folder_.path(), file(u"bad"_s, "uninitialized\n")}),
            std::nullopt);
}

TEST_F(LinuxMachineId, doesNotReadAnEndlessFile) { EXPECT_EQ(uuidFrom({u"/dev/zero"_s}), std::nullopt); }

std::optional<QString> hostNameOf(const QString& name) {
  return LinuxMachineIdentity({.machineIdFiles = {}, .hostName = [name] { return name; }}).localizedHostName();
}

TEST(LinuxHostName, isTheKernelsName) {
  EXPECT_EQ(hostNameOf(u"desk-7"_s), u"desk-7"_s);
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof(name) - 1), 0);
  const auto real = LinuxMachineIdentity().localizedHostName();
  EXPECT_EQ(real, hostNameOf(QString::fromLocal8Bit(name)));
}

TEST(LinuxHostName, isNoneWhenNobodyGaveOne) {
  for (const QString& name : {QString(), u"localhost"_s, u"(none)"_s}) EXPECT_EQ(hostNameOf(name), std::nullopt);
}

}  // namespace
}  // namespace vantora
