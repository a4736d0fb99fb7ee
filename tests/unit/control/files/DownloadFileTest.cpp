#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cerrno>
#include <csignal>
#include <utility>

#include "main/control/files/DownloadFile.h"
#include "main/control/files/SafeFileName.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Limits the files of this process to `bytes`, like a disk that becomes full.
class SmallDisk {
 public:
  explicit SmallDisk(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
  }
  ~SmallDisk() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

 private:
  rlimit before_{};
};

class DownloadFileTest : public testing::Test {
 protected:
  QString path(const QString& name) const { return folder_.filePath(name); }
  void put(const QString& name, const QByteArray& content) const {
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
  }
  QByteArray content(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(nothing to read)");
  }
  unsigned mode(const QString& name) const {
    struct stat status = {};
    return ::lstat(path(name).toUtf8().constData(), &status) == 0 ? status.st_mode & 0777U : 0U;
  }
  QStringList names() const {
    return QDir(folder_.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
  }
  CreatedDownload create(const QString& wanted) {
    auto created = createDownload(folder_.path(), wanted);
    const auto* error = std::get_if<QString>(&created);
    EXPECT_EQ(error, nullptr) << error->toStdString();
    return error ? CreatedDownload{DownloadFile(-1, 0), {}, {}} : std::get<CreatedDownload>(std::move(created));
  }

  QTemporaryDir folder_;
};

TEST_F(DownloadFileTest, existsUnderItsNameFromTheStart) {
  const CreatedDownload created = create(u"a.txt"_s);
  EXPECT_EQ(created.name, "a.txt");
  EXPECT_EQ(created.path, path(u"a.txt"_s).toUtf8());
  EXPECT_EQ(names(), QStringList{u"a.txt"_s});
}

TEST_F(DownloadFileTest, appendsWhatItIsGiven) {
  CreatedDownload created = create(u"a.bin"_s);
  EXPECT_EQ(created.file.append("one"), 3);
  EXPECT_EQ(created.file.append(QByteArrayView()), 0);
  EXPECT_EQ(created.file.append(QByteArray("\0two", 4)), 4);
  created.file.finish();
  EXPECT_EQ(content(u"a.bin"_s), QByteArray("one\0two", 7));
}

TEST_F(DownloadFileTest, letsNobodyReadAFileBeforeItIsFinished) {
  const mode_t before = ::umask(022);
  CreatedDownload created = create(u"a.txt"_s);
  created.file.append("half");
  EXPECT_EQ(mode(u"a.txt"_s), 0200U);
  created.file.finish();
  EXPECT_EQ(mode(u"a.txt"_s), 0644U);
  ::umask(077);
  create(u"b.txt"_s).file.finish();
  EXPECT_EQ(mode(u"b.txt"_s), 0600U);
  ::umask(before);
}

TEST_F(DownloadFileTest, leavesAFileThatWasNeverFinishedUnreadable) {
  { create(u"a.txt"_s).file.append("half"); }
  EXPECT_EQ(mode(u"a.txt"_s) & 0444U, 0U);
}

TEST_F(DownloadFileTest, takesTheNextNameThatIsFree) {
  QByteArrayList given;
  for (int i = 0; i < 3; ++i) given.append(create(u"x.pdf"_s).name);
  EXPECT_EQ(given, (QByteArrayList{"x.pdf", "x (1).pdf", "x (1) (2).pdf"}));
  EXPECT_EQ(create(u"README"_s).name, "README");
  EXPECT_EQ(create(u"README"_s).name, "README (1)");
}

TEST_F(DownloadFileTest, keepsFilesFoldersAndLinksThatAreThere) {
  put(u"file"_s, "old");
  QDir(folder_.path()).mkdir(u"folder"_s);
  put(u"target"_s, "precious");
  ASSERT_TRUE(QFile::link(path(u"target"_s), path(u"link"_s)));
  ASSERT_TRUE(QFile::link(path(u"nowhere"_s), path(u"dangling"_s)));
  for (const QString& name : {u"file"_s, u"folder"_s, u"link"_s, u"dangling"_s}) {
    CreatedDownload created = create(name);
    EXPECT_EQ(QString::fromUtf8(created.name), name + u" (1)"_s);
    created.file.append("new");
    created.file.finish();
  }
  EXPECT_EQ(content(u"file"_s), "old");
  EXPECT_EQ(content(u"target"_s), "precious");
  EXPECT_FALSE(names().contains(u"nowhere"_s));
}

TEST_F(DownloadFileTest, touchesNothingOutsideTheFolder) {
  QDir(folder_.path()).mkdir(u"inner"_s);
  put(u"outside"_s, "old");
  for (const QString& name :
       {u"../outside"_s, u"/etc/hostname"_s, u".."_s, u"."_s, u""_s, u"inner/../../outside"_s, u"..\\outside"_s}) {
    auto created = createDownload(path(u"inner"_s), name);
    ASSERT_TRUE(std::holds_alternative<CreatedDownload>(created)) << name.toStdString();
    EXPECT_EQ(QFileInfo(QString::fromUtf8(std::get<CreatedDownload>(created).path)).absolutePath(), path(u"inner"_s));
  }
  EXPECT_EQ(content(u"outside"_s), "old");
  EXPECT_EQ(names(), (QStringList{u"inner"_s, u"outside"_s}));
  EXPECT_EQ(QDir(path(u"inner"_s)).entryList(QDir::Files | QDir::Hidden).size(), 7);
}

class LastNameTest : public DownloadFileTest {
 protected:
  // Every name exists.
  LastNameTest() {
    put(u"a"_s, "");
    for (int n = 1; n <= 999; ++n) put(QString::fromUtf8(last_ = nextFileName(last_, n)), "");
  }
  QByteArray last_ = "a";
};

TEST_F(LastNameTest, replacesTheFileUnderTheLastName) {
  ASSERT_TRUE(last_.endsWith(" (999)")) << last_.toStdString();
  const qsizetype count = names().size();
  ASSERT_EQ(count, 1000);
  QFile::setPermissions(path(QString::fromUtf8(last_)), QFile::ReadOwner | QFile::WriteOwner);
  put(QString::fromUtf8(last_), "old and long");
  CreatedDownload again = create(u"a"_s);
  EXPECT_EQ(again.name, last_);
  again.file.append("new");
  again.file.finish();
  EXPECT_EQ(content(QString::fromUtf8(last_)), "new");
  EXPECT_EQ(names().size(), count);
}

TEST_F(LastNameTest, replacesALinkUnderTheLastNameAndNotWhatItPointsTo) {
  const QTemporaryDir elsewhere;
  const QString precious = elsewhere.filePath(u"precious"_s);
  QFile file(precious);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write("precious");
  file.close();
  const QString last = QString::fromUtf8(last_);
  ASSERT_TRUE(QFile::remove(path(last)));
  ASSERT_TRUE(QFile::link(precious, path(last)));
  CreatedDownload again = create(u"a"_s);
  EXPECT_EQ(again.name, last_);
  again.file.append("new");
  again.file.finish();
  EXPECT_FALSE(QFileInfo(path(last)).isSymLink());
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), "precious");
}

TEST_F(LastNameTest, failsWhenAFolderHasTheLastName) {
  const QString last = QString::fromUtf8(last_);
  ASSERT_TRUE(QFile::remove(path(last)));
  ASSERT_TRUE(QDir(folder_.path()).mkdir(last));
  EXPECT_TRUE(std::holds_alternative<QString>(createDownload(folder_.path(), u"a"_s)));
  EXPECT_TRUE(QFileInfo(path(last)).isDir());
}

TEST_F(DownloadFileTest, tellsWhyAFileCannotBeMade) {
  const auto missing = createDownload(path(u"no such folder"_s), u"a"_s);
  ASSERT_TRUE(std::holds_alternative<QString>(missing));
  EXPECT_EQ(std::get<QString>(missing), u"No such file or directory"_s);
  put(u"plain"_s, "");
  const auto noFolder = createDownload(path(u"plain"_s), u"a"_s);
  ASSERT_TRUE(std::holds_alternative<QString>(noFolder));
  EXPECT_EQ(std::get<QString>(noFolder), u"Not a directory"_s);
  // Nobody can create files there, not even the administrator.
  const auto closed = createDownload(u"/proc"_s, u"a"_s);
  EXPECT_TRUE(std::holds_alternative<QString>(closed));
}

// A folder on a file system that checks names by its own rules before it checks whether the name exists.
class StrangeDiskTest : public DownloadFileTest {
 protected:
  // The error number of the file system for `name`; 0 when it accepts the name.
  using Rule = std::function<int(const QByteArray& name)>;
  QByteArray create(const QString& wanted, const Rule& rule) {
    auto created = createDownload(folder_.path(), wanted, [&](int folder, const QByteArray& name) {
      ++tries_;
      errno = rule(name);
      return errno ? -1 : makeNewFile(folder, name);
    });
    const auto* error = std::get_if<QString>(&created);
    return error ? "(" + error->toUtf8() + ")" : std::get<CreatedDownload>(created).name;
  }
  static int fat(const QByteArray& name) {
    for (const char c : name) {
      if (QByteArrayView(":?*\"<>|").contains(c)) return EINVAL;
    }
    return name.endsWith(' ') ? EINVAL : 0;
  }
  static int encrypted(const QByteArray& name) { return name.size() > 143 ? ENAMETOOLONG : 0; }

  int tries_ = 0;
};

TEST_F(StrangeDiskTest, takesAPlainNameWhereTheFileSystemRefusesTheRealOne) {
  EXPECT_EQ(create(u"12:30 Uhr?.txt"_s, fat), "12_30 Uhr_.txt");
  EXPECT_EQ(create(u"12:30 Uhr?.txt"_s, fat), "12_30 Uhr_ (1).txt");
  EXPECT_EQ(create(u"12:30 Uhr?.txt"_s, fat), "12_30 Uhr_ (1) (2).txt");
  EXPECT_EQ(create(u"end "_s, fat), "end_");
  EXPECT_EQ(create(u"ordinary.txt"_s, fat), "ordinary.txt");
  EXPECT_EQ(names().size(), 5);
}

TEST_F(StrangeDiskTest, takesAShorterNameWhereLongOnesAreRefused) {
  EXPECT_EQ(create(QString(200, u'a') + u".txt"_s, encrypted), QByteArray(136, 'a') + ".txt");
  EXPECT_EQ(create(QString(200, u'a') + u".txt"_s, encrypted), QByteArray(132, 'a') + " (1).txt");
  // The name itself is accepted, the one with a suffix is not.
  const QString border = QString(142, u'b');
  EXPECT_EQ(create(border, encrypted), border.toUtf8());
  EXPECT_EQ(create(border, encrypted), QByteArray(140, 'b'));
  EXPECT_EQ(create(border, encrypted), QByteArray(136, 'b') + " (2)");
}

TEST_F(StrangeDiskTest, retriesOnlyOnce) {
  EXPECT_EQ(create(u"a"_s, [](const QByteArray&) { return EINVAL; }), "(Invalid argument)");
  EXPECT_EQ(tries_, 2);
  EXPECT_EQ(create(u"a"_s, [](const QByteArray&) { return EACCES; }), "(Permission denied)");
  EXPECT_EQ(tries_, 3);
  EXPECT_TRUE(names().isEmpty());
}

TEST_F(DownloadFileTest, staysACorrectPrefixWhenTheDiskIsFull) {
  CreatedDownload created = create(u"a.bin"_s);
  {
    const SmallDisk disk(10);
    EXPECT_EQ(created.file.append("1234567"), 7);
    EXPECT_EQ(created.file.append("890abc"), 3);
  }
  // There is space again, but writing would leave a gap.
  EXPECT_EQ(created.file.append("def"), 0);
  created.file.finish();
  EXPECT_EQ(mode(u"a.bin"_s) & 0444U, 0U) << "looks finished";
  QFile::setPermissions(path(u"a.bin"_s), QFile::ReadOwner);
  EXPECT_EQ(content(u"a.bin"_s), "1234567890");
}

// As on a network drive that accepts all data and later has no space for it.
TEST_F(DownloadFileTest, isNotShownAsFinishedWhenTheDiskRefusesItAtTheEnd) {
  const auto finished = [this](const QString& name, DownloadFile::Settle settle) {
    QFile::remove(path(name));
    const QByteArray place = path(name).toUtf8();
    const int descriptor = ::open(place.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0200);
    EXPECT_GE(descriptor, 0);
    DownloadFile file(descriptor, 0644, settle);
    // The settle function is moved together with the file.
    DownloadFile moved = std::move(file);
    EXPECT_EQ(moved.append("text"), 4);
    moved.finish();
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1) << "left open";
    return mode(name);
  };
  EXPECT_EQ(finished(u"a.txt"_s, closeCopy), 0644U);
  EXPECT_EQ(finished(u"a.txt"_s, [](int) { return 0; }), 0644U);
  EXPECT_EQ(finished(u"a.txt"_s,
                     [](int descriptor) {
                       EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_WRONLY) << "too late to ask";
                       errno = EDQUOT;
                       return -1;
                     }),
            0200U);
}

TEST_F(DownloadFileTest, asksTheDiskThroughACopyAndKeepsTheFileOpen) {
  const int descriptor = ::open(path(u"a.txt"_s).toUtf8().constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(descriptor, 0);
  EXPECT_EQ(closeCopy(descriptor), 0);
  EXPECT_EQ(::write(descriptor, "x", 1), 1);
  EXPECT_EQ(::close(descriptor), 0);
}

}  // namespace
}  // namespace vantora
