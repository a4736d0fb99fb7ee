#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "main/telemetry/system/linux/DesktopEntries.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

std::optional<DesktopEntry> parse(const QByteArray& text, const QString& locale = u"C"_s) {
  return parseDesktopEntry(u"/x/a.desktop"_s, text, locale);
}

TEST(ParseDesktopEntry, readsNameAndProgram) {
  EXPECT_EQ(parse("# comment\n[Desktop Entry]\nType=Application\nName=Files\nExec=nautilus --new-window %U\n"),
            (DesktopEntry{u"/x/a.desktop"_s, u"Files"_s, u"nautilus"_s}));
}

TEST(ParseDesktopEntry, choosesTheTranslationThatSuitsBest) {
  const QByteArray text =
      "[Desktop "
      "Entry]\nType=Application\nExec=a\nName[de]=Dateien\nName=Files\nName[de_CH]=Dateie\nName[fr]=Fichiers\n";
  EXPECT_EQ(parse(text, u"de_DE.UTF-8"_s)->name, u"Dateien"_s);
  EXPECT_EQ(parse(text, u"de_CH.UTF-8"_s)->name, u"Dateie"_s);
  EXPECT_EQ(parse(text, u"fr_FR@euro"_s)->name, u"Fichiers"_s);
  EXPECT_EQ(parse(text, u"C.UTF-8"_s)->name, u"Files"_s);
  EXPECT_EQ(parse(text, u""_s)->name, u"Files"_s);
}

TEST(ParseDesktopEntry, keysOfOtherGroupsDoNotCount) {
  const auto entry = parse(
      "[Other]\nExec=wrong\n[Desktop Entry]\nType=Application\nName=A\nExec=a\n[Desktop Action "
      "new]\nName=New\nExec=b\n");
  EXPECT_EQ(entry, (DesktopEntry{u"/x/a.desktop"_s, u"A"_s, u"a"_s}));
}

TEST(ParseDesktopEntry, isNothingWithoutAnApplication) {
  for (const QByteArray& text :
       {QByteArray(), QByteArray("[Desktop Entry]\nName=A\nExec=a\n"), QByteArray("Type=Application\nExec=a\n"),
        QByteArray("[Desktop Entry]\nType=Link\nExec=a\n"), QByteArray("[Desktop Entry]\nType=Application\nName=A\n"),
        QByteArray("[Desktop Entry]\nType=Application\nExec=a\nHidden=true\n"), QByteArray("\xff\xfe\0x=\n", 6)}) {
    EXPECT_EQ(parse(text), std::nullopt) << text.toStdString();
  }
}

TEST(ProgramOf, isTheFirstWordOfTheLine) {
  EXPECT_EQ(programOf(u"/usr/bin/app %u"_s), u"/usr/bin/app"_s);
  EXPECT_EQ(programOf(uR"("/opt/My App/run" --x)"_s), u"/opt/My App/run"_s);
  EXPECT_EQ(programOf(uR"("/opt/a\"b" x)"_s), uR"(/opt/a"b)"_s);
  EXPECT_EQ(programOf(u"env LANG=C -u X app y"_s), u"X"_s) << "an option's value is not known from a program";
  EXPECT_EQ(programOf(u"env LANG=C app y"_s), u"app"_s);
  EXPECT_EQ(programOf(u"/usr/bin/flatpak run --branch=stable --command=maps org.x.Maps"_s), u"maps"_s);
  EXPECT_EQ(programOf(u"/usr/bin/flatpak run org.x.Maps"_s), u"/usr/bin/flatpak"_s);
  EXPECT_EQ(programOf(u""_s), u""_s);
  EXPECT_EQ(programOf(u"env"_s), u""_s);
}

TEST(DesktopIdOfControlGroup, readsTheNamesDesktopsGive) {
  const QString slice = u"0::/user.slice/user-1000.slice/user@1000.service/app.slice/"_s;
  EXPECT_EQ(desktopIdOfControlGroup(slice + u"app-gnome-org.gnome.Calculator-1234.scope\n"_s),
            u"org.gnome.Calculator"_s);
  EXPECT_EQ(desktopIdOfControlGroup(slice + uR"(app-gnome-firefox\x2desr-99.scope)"_s), u"firefox-esr"_s);
  EXPECT_EQ(desktopIdOfControlGroup(slice + u"app-org.kde.kate@5f3a.service"_s), u"org.kde.kate"_s);
  EXPECT_EQ(desktopIdOfControlGroup(slice + u"app-flatpak-org.x.Maps-77.scope/inner"_s), u"org.x.Maps"_s);
}

TEST(DesktopIdOfControlGroup, otherGroupsNameNothing) {
  for (const QString& group : {u""_s, u"0::/"_s, u"0::/init.scope"_s, u"0::/system.slice/ssh.service"_s,
                               u"0::/app.slice/app-x.slice"_s, u"0::/vte-spawn-1.scope"_s, u"app-"_s}) {
    EXPECT_EQ(desktopIdOfControlGroup(group), u""_s) << group.toStdString();
  }
}

class DesktopEntriesTest : public testing::Test {
 protected:
  void entry(const QString& file, const QString& name, const QString& exec) const {
    write(u"apps/"_s + file,
          "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() + "\nExec=" + exec.toUtf8() + '\n');
  }
  void write(const QString& file, const QByteArray& content) const {
    const QString place = folder_.filePath(file);
    QDir().mkpath(place.left(place.lastIndexOf(u'/')));
    QFile out(place);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly) && out.write(content) == content.size());
    out.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  }
  QString path(const QString& file) const { return folder_.filePath(file); }
  DesktopEntries entries() const {
    DesktopEntries result(
        {.folders = {path(u"apps"_s), path(u"missing"_s)}, .programFolders = {path(u"bin"_s)}, .locale = {}});
    result.refresh();
    return result;
  }

  QTemporaryDir folder_;
};

TEST_F(DesktopEntriesTest, findsTheProgramBehindItsName) {
  write(u"lib/real"_s, "x");
  QDir().mkpath(path(u"bin"_s));
  QFile::link(path(u"lib/real"_s), path(u"bin/app"_s));
  entry(u"a.desktop"_s, u"App"_s, u"app %U"_s);
  const DesktopEntries all = entries();
  ASSERT_TRUE(all.byProgram(path(u"lib/real"_s)));
  EXPECT_EQ(all.byProgram(path(u"lib/real"_s))->name, u"App"_s);
  EXPECT_EQ(all.byProgram(path(u"lib/other"_s)), nullptr);
  EXPECT_EQ(all.byProgram(QString()), nullptr);
  ASSERT_TRUE(all.byFile(path(u"apps/a.desktop"_s)));
  EXPECT_EQ(all.byFile(path(u"apps/b.desktop"_s)), nullptr);
}

TEST_F(DesktopEntriesTest, programsThatRunOthersBelongToNoEntry) {
  write(u"bin/sh"_s, "x");
  write(u"bin/python3.11"_s, "x");
  entry(u"a.desktop"_s, u"Shell"_s, u"sh -c 'something'"_s);
  entry(u"b.desktop"_s, u"Script"_s, u"python3.11 /x.py"_s);
  const DesktopEntries all = entries();
  EXPECT_EQ(all.byProgram(path(u"bin/sh"_s)), nullptr);
  EXPECT_EQ(all.byProgram(path(u"bin/python3.11"_s)), nullptr);
  EXPECT_TRUE(all.byId(u"a"_s));
}

TEST_F(DesktopEntriesTest, foldersBelowArePartOfTheId) {
  entry(u"kde/a.desktop"_s, u"A"_s, u"a"_s);
  write(u"apps/readme.txt"_s, "[Desktop Entry]\nType=Application\nExec=x\n");
  const DesktopEntries all = entries();
  EXPECT_TRUE(all.byId(u"kde-a"_s));
  EXPECT_EQ(all.byId(u"a"_s), nullptr);
  EXPECT_EQ(all.byId(u"readme"_s), nullptr);
}

TEST_F(DesktopEntriesTest, detectsNewEntries) {
  entry(u"a.desktop"_s, u"A"_s, u"a"_s);
  DesktopEntries all = entries();
  EXPECT_EQ(all.byId(u"b"_s), nullptr);
  entry(u"b.desktop"_s, u"B"_s, u"b"_s);
  // The clock of the file system is coarse; this time is certainly different.
  const timespec times[2]{{.tv_sec = 1000, .tv_nsec = 0}, {.tv_sec = 1000, .tv_nsec = 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(path(u"apps"_s)).constData(), times, 0), 0);
  all.refresh();
  EXPECT_TRUE(all.byId(u"b"_s));
}

}  // namespace
}  // namespace vantora
