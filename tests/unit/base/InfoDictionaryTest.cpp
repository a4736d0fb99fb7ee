#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "base/InfoDictionary.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class InfoFile : public testing::Test {
 protected:
  void write(const QString& name, const QByteArray& text) const {
    const QString path = folder_.filePath(name);
    EXPECT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
  }
  InfoDictionary load() const { return InfoDictionary::load(folder_.filePath(u"bin"_s)); }
  QTemporaryDir folder_;
};

TEST_F(InfoFile, isReadBesideTheProgram) {
  write(u"bin/Info.ini"_s, "[General]\nDisplayName=\"Help Desk\"\nBundleIdentifier=\"org.example.host\"\n");
  const InfoDictionary info = load();
  EXPECT_EQ(info.displayName(), u"Help Desk"_s);
  EXPECT_EQ(info.bundleIdentifier(), u"org.example.host"_s);
}

TEST_F(InfoFile, isReadFromTheDataFolderOtherwise) {
  write(u"share/vantora-host/Info.ini"_s, "[General]\nVANTORA_ROOM=data\n");
  EXPECT_EQ(load().value("VANTORA_ROOM"), std::nullopt);  // The program's folder does not exist.
  ASSERT_TRUE(QDir().mkpath(folder_.filePath(u"bin"_s)));
  EXPECT_EQ(load().value("VANTORA_ROOM"), u"data"_s);
  write(u"bin/Info.ini"_s, "[General]\nVANTORA_ROOM=beside\n");
  EXPECT_EQ(load().value("VANTORA_ROOM"), u"beside"_s);
}

TEST_F(InfoFile, keepsTextsWholeHoweverTheyAreQuoted) {
  write(u"bin/Info.ini"_s,
        "[General]\nA=one,two\nB=\"one, two\"\nC=\"say \\\"hi\\\"\"\nD=\"wss://h:1/p?a=b;c#d\"\nE=\nF=\"\"\nG=1\n");
  const InfoDictionary info = load();
  EXPECT_EQ(info.value("A"), u"one,two"_s);
  EXPECT_EQ(info.value("B"), u"one, two"_s);
  EXPECT_EQ(info.value("C"), u"say \"hi\""_s);
  EXPECT_EQ(info.value("D"), u"wss://h:1/p?a=b;c#d"_s);
  EXPECT_EQ(info.value("E"), QString(u""_s));
  EXPECT_EQ(info.value("F"), QString(u""_s));
  EXPECT_EQ(info.value("G"), u"1"_s);
}

TEST_F(InfoFile, givesNothingWhenMissingOrUnreadable) {
  EXPECT_EQ(load().value("VANTORA_ROOM"), std::nullopt);
  write(u"bin/Info.ini"_s, QByteArray(10'000, '\xff'));
  EXPECT_EQ(load().value("VANTORA_ROOM"), std::nullopt);
  EXPECT_EQ(load().bundleIdentifier(), std::nullopt);
}

TEST_F(InfoFile, isNeverWritten) {
  const QByteArray text = "[General]\nA=1\n";
  write(u"bin/Info.ini"_s, text);
  (void)load();
  QFile file(folder_.filePath(u"bin/Info.ini"_s));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), text);
  EXPECT_EQ(QDir(folder_.filePath(u"bin"_s)).entryList(QDir::Files), QStringList{u"Info.ini"_s});
}

TEST(InfoDictionary, hasANameAndNoIdentifierByDefault) {
  EXPECT_EQ(InfoDictionary().displayName(), u"Vantora Host"_s);
  EXPECT_EQ(InfoDictionary().bundleIdentifier(), std::nullopt);
  EXPECT_EQ(InfoDictionary({{u"BundleIdentifier"_s, QString()}}).bundleIdentifier(), std::nullopt);
}

}  // namespace
}  // namespace vantora
