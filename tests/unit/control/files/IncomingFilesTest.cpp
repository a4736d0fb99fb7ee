#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "main/control/files/IncomingFiles.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class IncomingFilesTest : public testing::Test {
 protected:
  QByteArray content(const QString& name) const {
    QFile file(folder_.filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(nothing to read)");
  }
  QStringList names() const { return QDir(folder_.path()).entryList(QDir::Files | QDir::Hidden); }
  void start(const QString& id, const QString& name, qint64 size = 0) { files_.start(viewer_, id, name, size); }
  void end(const QString& id) { files_.end(viewer_, id); }
  void base64(const QString& id, const QString& data) { files_.appendBase64(viewer_.connection, id, data); }
  void binary(const QByteArray& piece) { files_.appendBinary(viewer_.connection, piece); }
  // The page was reloaded, or the connection was renewed.
  void reconnect() { ++viewer_.connection; }
  static JsonObject ready(const QString& id) { return {{u"type"_s, u"file_ready"_s}, {u"id"_s, id}}; }
  static JsonObject saved(const QString& id, const QString& name, qint64 size) {
    return {{u"type"_s, u"file_saved"_s}, {u"id"_s, id}, {u"name"_s, name}, {u"size"_s, size}};
  }

  QTemporaryDir folder_;
  QString downloadFolder_ = folder_.path();
  fakes::RecordedLog log_;
  ReplyAddress viewer_{.origin = ControlChannel::reliable, .connection = 4};
  QList<JsonObject> replies_;
  QList<quint64> connections_;
  IncomingFiles files_{{.downloadFolder = [this] { return downloadFolder_; },
                        .reply =
                            [this](const ReplyAddress& to, const JsonObject& message) {
                              connections_.append(to.connection);
                              replies_.append(message);
                            }}};
};

TEST_F(IncomingFilesTest, receivesAFileInTextPieces) {
  start(u"1"_s, u"a.txt"_s, 11);
  EXPECT_EQ(replies_, QList<JsonObject>{ready(u"1"_s)});
  EXPECT_EQ(names(), QStringList{u"a.txt"_s});
  base64(u"1"_s, u"aGVsbG8="_s);
  base64(u"1"_s, u"IHdvcmxk"_s);
  end(u"1"_s);
  EXPECT_EQ(replies_.last(), saved(u"1"_s, u"a.txt"_s, 11));
  EXPECT_EQ(content(u"a.txt"_s), "hello world");
  EXPECT_EQ(log_.lines(), (QStringList{u"[file] start id=1 name=a.txt size=11"_s, u"[file] saved a.txt (11/11)"_s}));
}

TEST_F(IncomingFilesTest, receivesAFileInBinaryPieces) {
  start(u"1"_s, u"a.bin"_s, 4);
  binary(QByteArray("\0\xff", 2));
  binary({});
  binary("\r\n");
  end(u"1"_s);
  EXPECT_EQ(content(u"a.bin"_s), QByteArray("\0\xff\r\n", 4));
}

TEST_F(IncomingFilesTest, logsTheFinalNameAndAnswersWithTheViewersOwn) {
  for (int i = 0; i < 3; ++i) {
    start(u"i"_s, u"x.pdf"_s, 5);
    end(u"i"_s);
  }
  EXPECT_EQ(names(), (QStringList{u"x (1) (2).pdf"_s, u"x (1).pdf"_s, u"x.pdf"_s}));
  EXPECT_EQ(replies_[1], saved(u"i"_s, u"x.pdf"_s, 0)) << "a file with the announced name is not renamed";
  EXPECT_EQ(replies_[6], (JsonObject{{u"type"_s, u"file_renamed"_s},
                                     {u"id"_s, u"i"_s},
                                     {u"name"_s, u"x.pdf"_s},
                                     {u"savedAs"_s, u"x (1) (2).pdf"_s}}));
  EXPECT_EQ(replies_.size(), 8);
  EXPECT_EQ(log_.lines()[4], u"[file] start id=i name=x (1) (2).pdf size=5"_s);
  EXPECT_EQ(log_.lines()[5], u"[file] saved x.pdf (0/5)"_s);
  EXPECT_EQ(replies_.last(), saved(u"i"_s, u"x.pdf"_s, 0));
}

TEST_F(IncomingFilesTest, makesASafeNameInsteadOfRefusing) {
  start(u"1"_s, u"../.hidden/\n"_s);
  end(u"1"_s);
  EXPECT_EQ(names(), QStringList{u"___.hidden__"_s});
  EXPECT_EQ(replies_.last(), saved(u"1"_s, u"../.hidden/\n"_s, 0));
}

TEST_F(IncomingFilesTest, tellsHowMuchArrivedOfAShortAndOfALongTransfer) {
  start(u"short"_s, u"s"_s, 100);
  binary("12345");
  end(u"short"_s);
  EXPECT_EQ(replies_.last(), saved(u"short"_s, u"s"_s, 5));
  EXPECT_EQ(content(u"s"_s), "12345");
  start(u"long"_s, u"l"_s, 2);
  binary("12345");
  end(u"long"_s);
  EXPECT_EQ(replies_.last(), saved(u"long"_s, u"l"_s, 5));
  EXPECT_EQ(content(u"l"_s), "12345");
  start(u"odd"_s, u"o"_s, -7);
  end(u"odd"_s);
  EXPECT_EQ(log_.lines().last(), u"[file] saved o (0/-7)"_s);
}

TEST_F(IncomingFilesTest, ignoresUnknownTransfers) {
  base64(u"1"_s, u"aGVsbG8="_s);
  binary("x");
  end(u"1"_s);
  EXPECT_TRUE(replies_.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
  EXPECT_TRUE(names().isEmpty());
}

TEST_F(IncomingFilesTest, changesNothingForAnUnknownIdBesideAKnownOne) {
  start(u"1"_s, u"a"_s);
  base64(u"2"_s, u"aGVsbG8="_s);
  end(u"2"_s);
  end(u"1"_s);
  EXPECT_EQ(replies_.last(), saved(u"1"_s, u"a"_s, 0));
  end(u"1"_s);
  EXPECT_EQ(replies_.size(), 2);
}

TEST_F(IncomingFilesTest, ignoresAPieceThatIsNotBase64) {
  start(u"1"_s, u"a"_s);
  for (const QString& data : {u"aGVs bG8="_s, u"aGVsbG8=\n"_s, u"aGVsbG8"_s, u"aGVs*G8="_s, u"aGVsbG8-"_s, u"a_Vs"_s,
                              u"===="_s, u"a==="_s, u"a=Vs"_s, u"aGVsbG8=aGVs"_s, u"äGVs"_s, u"aGVs\u0100"_s}) {
    base64(u"1"_s, data);
  }
  base64(u"1"_s, u""_s);
  base64(u"1"_s, u"b2s="_s);
  end(u"1"_s);
  EXPECT_EQ(replies_.last(), saved(u"1"_s, u"a"_s, 2));
  EXPECT_EQ(content(u"a"_s), "ok");
}

TEST_F(IncomingFilesTest, keepsTwoTransfersApart) {
  start(u"b"_s, u"two"_s);
  start(u"a"_s, u"one"_s);
  base64(u"a"_s, u"MQ=="_s);
  base64(u"b"_s, u"Mg=="_s);
  base64(u"a"_s, u"MQ=="_s);
  binary("+");  // Belongs to the id that sorts first.
  end(u"a"_s);
  binary("-");
  end(u"b"_s);
  EXPECT_EQ(content(u"one"_s), "11+");
  EXPECT_EQ(content(u"two"_s), "2-");
}

TEST_F(IncomingFilesTest, forgetsATransferWhoseIdIsUsedAgain) {
  start(u"1"_s, u"a"_s, 10);
  binary("first");
  start(u"1"_s, u"b"_s, 20);
  binary("second");
  end(u"1"_s);
  end(u"1"_s);
  EXPECT_EQ(replies_, (QList<JsonObject>{ready(u"1"_s), ready(u"1"_s), saved(u"1"_s, u"b"_s, 6)}));
  EXPECT_EQ(content(u"b"_s), "second");
  QFile::setPermissions(folder_.filePath(u"a"_s), QFile::ReadOwner);
  EXPECT_EQ(content(u"a"_s), "first");
}

TEST_F(IncomingFilesTest, answersEachRequestOnItsOwnConnection) {
  files_.start({.origin = ControlChannel::reliable, .connection = 1}, u"1"_s, u"a"_s, 0);
  files_.end({.origin = ControlChannel::reliable, .connection = 2}, u"1"_s);
  EXPECT_EQ(connections_, (QList<quint64>{1, 2}));
}

TEST_F(IncomingFilesTest, onlyLogsWhenNoFileCanBeMade) {
  downloadFolder_ = u"/proc"_s;
  start(u"1"_s, u"a"_s);
  binary("x");
  end(u"1"_s);
  EXPECT_TRUE(replies_.isEmpty());
  ASSERT_EQ(log_.lines().size(), 1);
  EXPECT_TRUE(log_.lines()[0].startsWith(u"[file] Failed to open file for writing: "_s))
      << log_.lines()[0].toStdString();
  EXPECT_GT(log_.lines()[0].size(), u"[file] Failed to open file for writing: "_s.size());
}

TEST_F(IncomingFilesTest, makesTheDownloadFolderWhenItIsMissing) {
  downloadFolder_ = folder_.filePath(u"deep/down"_s);
  start(u"1"_s, u"a"_s);
  EXPECT_TRUE(QFileInfo(folder_.filePath(u"deep/down/a"_s)).isFile());
}

TEST_F(IncomingFilesTest, fallsBackToTheFolderForTemporaryFiles) {
  EXPECT_EQ(usableDownloadFolder({}), QDir::tempPath());
  EXPECT_EQ(usableDownloadFolder(u"/proc/no/such"_s), QDir::tempPath());
  EXPECT_EQ(usableDownloadFolder(u"/dev/null"_s), QDir::tempPath());
  EXPECT_EQ(usableDownloadFolder(folder_.path()), folder_.path());
}

TEST_F(IncomingFilesTest, endsTheOldestTransferForOneTooMany) {
  for (size_t i = 0; i < IncomingFiles::kMaxOpen; ++i) start(QString::number(i), u"a"_s);
  start(u"0"_s, u"b"_s);  // Replaces the oldest one and is the newest now.
  replies_.clear();
  log_.clear();
  start(u"more"_s, u"c"_s);
  EXPECT_EQ(replies_, (QList<JsonObject>{fileRejected(u"1"_s, u"a"_s, "too many"_L1), ready(u"more"_s)}));
  EXPECT_EQ(log_.lines()[0], u"[file] too many open transfers, giving up id=1"_s);
  EXPECT_FALSE(QFile::permissions(folder_.filePath(u"a (1)"_s)) & QFile::ReadOwner) << "looks finished";
  replies_.clear();
  end(u"1"_s);
  end(u"0"_s);
  end(u"more"_s);
  EXPECT_EQ(replies_, (QList<JsonObject>{saved(u"0"_s, u"b"_s, 0), saved(u"more"_s, u"c"_s, 0)}));
}

TEST_F(IncomingFilesTest, receivesOnAfterAnyNumberOfTransfersThatWereNeverEnded) {
  start(u"mine"_s, u"mine"_s);
  for (size_t i = 0; i < IncomingFiles::kMaxOpen; ++i) {
    reconnect();
    base64(u"mine"_s, u"aGVsbG8="_s);
    start(QString::number(i), u"a"_s);
  }
  connections_.clear();
  replies_.clear();
  start(u"new"_s, u"new"_s);
  // Transfers of other connections are evicted first, even if one in use is older.
  EXPECT_EQ(replies_, (QList<JsonObject>{fileRejected(u"1"_s, u"a"_s, "too many"_L1), ready(u"new"_s)}));
  EXPECT_EQ(connections_, (QList<quint64>{6, viewer_.connection})) << "somebody else's transfer";
  end(u"mine"_s);
  EXPECT_EQ(replies_.last(), saved(u"mine"_s, u"mine"_s, 5 * static_cast<qint64>(IncomingFiles::kMaxOpen)));
}

TEST_F(IncomingFilesTest, keepsEveryTransferWhenTheNewFileCannotBeMade) {
  for (size_t i = 0; i < IncomingFiles::kMaxOpen; ++i) start(QString::number(i), u"a"_s);
  replies_.clear();
  downloadFolder_ = u"/proc"_s;
  start(u"more"_s, u"b"_s);
  EXPECT_TRUE(replies_.isEmpty());
}

TEST_F(IncomingFilesTest, putsPiecesOfAReloadedViewerIntoItsNewFile) {
  start(u"a"_s, u"dead"_s);
  binary("old");
  reconnect();
  binary(" carried on");
  start(u"z"_s, u"new"_s);
  start(u"y"_s, u"first"_s);
  binary("1");
  end(u"y"_s);
  binary("2");
  end(u"z"_s);
  end(u"a"_s);
  EXPECT_EQ(content(u"first"_s), "1");
  EXPECT_EQ(content(u"new"_s), "2");
  EXPECT_EQ(content(u"dead"_s), "old carried on");
}

TEST_F(IncomingFilesTest, endsEveryTransferWhenTheDiskIsTooSlow) {
  start(u"1"_s, u"a"_s);
  start(u"2"_s, u"b"_s);
  binary("half");
  replies_.clear();
  log_.clear();
  files_.abandonAll(viewer_.connection);
  EXPECT_EQ(replies_, (QList<JsonObject>{fileRejected(u"1"_s, u"a"_s, "overloaded"_L1),
                                         fileRejected(u"2"_s, u"b"_s, "overloaded"_L1)}));
  EXPECT_EQ(log_.lines(), (QStringList{u"[file] the disk is too slow, giving up id=1"_s,
                                       u"[file] the disk is too slow, giving up id=2"_s}));
  end(u"1"_s);
  EXPECT_EQ(replies_.size(), 2);
  EXPECT_FALSE(QFile::permissions(folder_.filePath(u"a"_s)) & QFile::ReadOwner);
}

TEST_F(IncomingFilesTest, tellsTheViewerThatIsThereWhenTheDiskIsTooSlow) {
  start(u"1"_s, u"left"_s);
  start(u"2"_s, u"carried on"_s);
  reconnect();
  base64(u"2"_s, u"MQ=="_s);
  connections_.clear();
  replies_.clear();
  files_.abandonAll(viewer_.connection);
  EXPECT_EQ(connections_, (QList<quint64>{viewer_.connection, viewer_.connection}));
  // This may be another viewer, which must not receive the name of the first file.
  EXPECT_EQ(replies_, (QList<JsonObject>{fileRejected(u"1"_s, QString(), "overloaded"_L1),
                                         fileRejected(u"2"_s, u"carried on"_s, "overloaded"_L1)}));
}

TEST(DecodeStrictBase64Test, decodesTheStandardAlphabet) {
  QByteArray all;
  for (int i = 0; i < 256; ++i) all.append(static_cast<char>(i));
  EXPECT_EQ(decodeStrictBase64(QString::fromLatin1(all.toBase64())), all);
  EXPECT_EQ(decodeStrictBase64(u"+/+/"_s), QByteArray("\xfb\xff\xbf"));
  EXPECT_EQ(decodeStrictBase64(u""_s), QByteArray());
}

}  // namespace
}  // namespace vantora
