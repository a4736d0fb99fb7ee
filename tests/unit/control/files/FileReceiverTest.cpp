#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>
#include <atomic>
#include <future>

#include "main/control/files/FileReceiver.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Sent = fakes::FakeControlSender::Sent;

class FileReceiverTest : public testing::Test {
 protected:
  static constexpr qint64 kLimit = 100'000;

  FileReceiverTest() {
    testloop::ensureApplication();
    bindFileMessages(dispatcher_, *files_);
  }
  ~FileReceiverTest() override { unplug(); }

  void say(const JsonObject& message, ControlChannel origin = ControlChannel::reliable) {
    dispatcher_.dataChannelDidReceiveMessage(origin, toJson(message), false);
  }
  void sayBinary(const QByteArray& piece) {
    dispatcher_.dataChannelDidReceiveMessage(ControlChannel::reliable, piece, true);
  }
  void start(const QString& id, const QString& name, ControlChannel origin = ControlChannel::reliable) {
    say({{u"type"_s, u"file_start"_s}, {u"id"_s, id}, {u"name"_s, name}, {u"size"_s, 3}}, origin);
  }
  void end(const QString& id) { say({{u"type"_s, u"file_end"_s}, {u"id"_s, id}}); }
  void chunk(const QString& id, const QByteArray& bytes) {
    say({{u"type"_s, u"file_chunk"_s}, {u"id"_s, id}, {u"data"_s, QString::fromLatin1(bytes.toBase64())}});
  }
  bool received(qsizetype count) {
    return testloop::waitFor([&] { return sender_.sent.size() >= count; });
  }
  QByteArray content(const QString& name) const {
    QFile file(folder_.filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(nothing to read)");
  }
  QStringList names() const { return QDir(folder_.path()).entryList(QDir::Files | QDir::Hidden); }
  // Blocks the disk until unplug().
  void plug() {
    plugged_ = std::promise<void>();
    plug_ = plugged_.get_future().share();
    stuck_ = true;
  }
  void unplug() {
    if (stuck_.exchange(false)) plugged_.set_value();
  }

  QTemporaryDir folder_;
  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  fakes::FakeControlSender sender_;
  std::promise<void> plugged_;
  std::shared_future<void> plug_;
  std::atomic<bool> stuck_ = false;
  std::unique_ptr<FileReceiver> files_ = std::make_unique<FileReceiver>(
      sender_,
      [this] {
        if (stuck_) plug_.wait();
        return folder_.path();
      },
      kLimit);
  ControlDispatcher dispatcher_{sender_, scheduler_, [this](Gate gate) {
                                  return gate != Gate::file || (files_ && files_->isFileReceiveAllowed());
                                }};
};

TEST_F(FileReceiverTest, receivesAFileAndAnswersOnTheReliableChannel) {
  start(u"1"_s, u"a.txt"_s, ControlChannel::control);
  chunk(u"1"_s, "one ");
  sayBinary("two");
  end(u"1"_s);
  ASSERT_TRUE(received(2));
  EXPECT_EQ(
      sender_.sent,
      (QList<Sent>{{ControlChannel::reliable, {{u"type"_s, u"file_ready"_s}, {u"id"_s, u"1"_s}}},
                   {ControlChannel::reliable,
                    {{u"type"_s, u"file_saved"_s}, {u"id"_s, u"1"_s}, {u"name"_s, u"a.txt"_s}, {u"size"_s, 7}}}}));
  EXPECT_EQ(content(u"a.txt"_s), "one two");
}

TEST_F(FileReceiverTest, answersOnTheChannelOfTheRequestWithoutAReliableOne) {
  sender_.reliable.exists = false;
  start(u"1"_s, u"a.txt"_s, ControlChannel::control);
  ASSERT_TRUE(received(1));
  EXPECT_EQ(sender_.sent[0].channel, ControlChannel::control);
}

TEST_F(FileReceiverTest, writesManyPiecesInTheirOrder) {
  start(u"1"_s, u"a.bin"_s);
  QByteArray all;
  for (int i = 0; i < 150; ++i) {
    const QByteArray piece = QByteArray::number(i) + ",";
    all += piece;
    if (i % 2 == 0) {
      chunk(u"1"_s, piece);
    } else {
      sayBinary(piece);
    }
  }
  end(u"1"_s);
  ASSERT_TRUE(received(2));
  EXPECT_EQ(content(u"a.bin"_s), all);
}

TEST_F(FileReceiverTest, ignoresAnnouncementsWithMissingOrMistypedFields) {
  const JsonObject good{{u"type"_s, u"file_start"_s}, {u"id"_s, u"1"_s}, {u"name"_s, u"a"_s}, {u"size"_s, 3}};
  for (const QString& field : {u"id"_s, u"name"_s, u"size"_s}) {
    JsonObject message = good;
    message.remove(field);
    say(message);
    for (const QJsonValue& wrong : {QJsonValue(), QJsonValue(true), QJsonValue(1.5), QJsonValue(JsonObject())}) {
      message.insert(field, wrong);
      say(message);
    }
  }
  say({{u"type"_s, u"file_start"_s}, {u"id"_s, 1}, {u"name"_s, u"a"_s}, {u"size"_s, 3}});
  say({{u"type"_s, u"file_start"_s}, {u"id"_s, u"1"_s}, {u"name"_s, u"a"_s}, {u"size"_s, u"3"_s}});
  say({{u"type"_s, u"file_chunk"_s}, {u"id"_s, u"1"_s}});
  say({{u"type"_s, u"file_end"_s}});
  start(u"last"_s, u"b"_s);
  ASSERT_TRUE(received(1));
  EXPECT_EQ(sender_.sent[0].message.value(u"id"), QJsonValue(u"last"_s));
  EXPECT_EQ(names(), QStringList{u"b"_s});
}

TEST_F(FileReceiverTest, refusesFilesThatTheUserDoesNotWant) {
  files_->setFileReceiveAllowed(false);
  EXPECT_FALSE(files_->isFileReceiveAllowed());
  start(u"1"_s, u"a"_s);
  say({{u"type"_s, u"file_start"_s}, {u"id"_s, 5}});
  chunk(u"1"_s, "x");
  end(u"1"_s);
  const auto rejected = [](const QString& id, const QString& name) {
    return Sent{ControlChannel::reliable,
                {{u"type"_s, u"file_rejected"_s}, {u"id"_s, id}, {u"name"_s, name}, {u"reason"_s, u"disabled"_s}}};
  };
  EXPECT_EQ(sender_.take(), (QList<Sent>{rejected(u"1"_s, u"a"_s), rejected(u""_s, u""_s)}));
  EXPECT_EQ(log_.lines(), QStringList{u"[file] allow incoming files = false"_s});
  files_->setFileReceiveAllowed(true);
  EXPECT_EQ(log_.lines().last(), u"[file] allow incoming files = true"_s);
  start(u"2"_s, u"b"_s);
  ASSERT_TRUE(received(1));
  EXPECT_EQ(names(), QStringList{u"b"_s});
}

TEST_F(FileReceiverTest, takesBinaryPiecesWithoutTheRight) {
  start(u"1"_s, u"a"_s);
  files_->setFileReceiveAllowed(false);
  chunk(u"1"_s, "not this");
  sayBinary("this");
  end(u"1"_s);
  files_->setFileReceiveAllowed(true);
  end(u"1"_s);
  ASSERT_TRUE(received(2));
  EXPECT_EQ(content(u"a"_s), "this");
}

TEST_F(FileReceiverTest, checksTheRightWhenAMessageArrivesAndNotWhenItsTurnComes) {
  plug();
  start(u"1"_s, u"a"_s);
  chunk(u"1"_s, "welcome");
  end(u"1"_s);
  files_->setFileReceiveAllowed(false);
  unplug();
  ASSERT_TRUE(received(2));
  EXPECT_EQ(content(u"a"_s), "welcome");
}

TEST_F(FileReceiverTest, carriesATransferOverAChannelThatClosed) {
  start(u"1"_s, u"a"_s);
  ASSERT_TRUE(received(1));
  sayBinary("half ");
  sender_.reliable.open = false;
  sender_.reliable.open = true;
  sayBinary("whole");
  end(u"1"_s);
  ASSERT_TRUE(received(2));
  EXPECT_EQ(content(u"a"_s), "half whole");
}

TEST_F(FileReceiverTest, endsTransfersThatTheDiskCannotFollow) {
  start(u"1"_s, u"a"_s);
  ASSERT_TRUE(received(1));
  plug();
  start(u"2"_s, u"b"_s);
  for (int i = 0; i < 200; ++i) sayBinary(QByteArray(1000, 'x'));
  chunk(u"1"_s, "x");
  end(u"1"_s);
  start(u"3"_s, QString(60'000, u'c'));  // There is no room even for its name.
  ASSERT_EQ(sender_.sent.size(), 2);
  EXPECT_EQ(sender_.sent[1].message, fileRejected(u"3"_s, QString(60'000, u'c'), "overloaded"_L1));
  unplug();
  ASSERT_TRUE(received(5));
  const auto messages = sender_.take();
  EXPECT_EQ(messages[2].message.value(u"type"), QJsonValue(u"file_ready"_s));
  EXPECT_EQ(messages[3].message, fileRejected(u"1"_s, u"a"_s, "overloaded"_L1));
  EXPECT_EQ(messages[4].message, fileRejected(u"2"_s, u"b"_s, "overloaded"_L1));
  EXPECT_LE(QFileInfo(folder_.filePath(u"a"_s)).size(), kLimit);
  // The next transfer works normally.
  sayBinary("stray");
  start(u"1"_s, u"c"_s);
  sayBinary("fresh");
  end(u"1"_s);
  ASSERT_TRUE(received(2));
  EXPECT_EQ(content(u"c"_s), "fresh");
}

TEST_F(FileReceiverTest, tellsTheViewerThatCarriesATransferOnThatItEnded) {
  start(u"1"_s, u"a"_s);
  ASSERT_TRUE(received(1));
  sender_.connectionNumber = 2;
  plug();
  start(u"2"_s, u"b"_s);
  for (int i = 0; i < 200; ++i) chunk(u"1"_s, QByteArray(1000, 'x'));
  unplug();
  ASSERT_TRUE(received(4));
  EXPECT_EQ(sender_.sent[2].message, fileRejected(u"1"_s, u"a"_s, "overloaded"_L1));
  EXPECT_EQ(sender_.sent[3].message, fileRejected(u"2"_s, u"b"_s, "overloaded"_L1));
}

TEST_F(FileReceiverTest, putsBinaryPiecesIntoTheFileThatTheirConnectionBegan) {
  start(u"1"_s, u"left behind"_s);
  sayBinary("old");
  sender_.connectionNumber = 2;
  start(u"2"_s, u"new"_s);
  sayBinary("fresh");
  end(u"2"_s);
  ASSERT_TRUE(received(2));
  EXPECT_EQ(sender_.sent.last().message.value(u"size"), QJsonValue(5));
  EXPECT_EQ(content(u"new"_s), "fresh");
}

TEST_F(FileReceiverTest, remembersABoundedAmountForAStuckDisk) {
  plug();
  start(u"1"_s, u"a"_s);
  // None of these can be written, whatever their ids, and each takes some memory.
  int rejected = 0;
  for (int i = 0; i < 5000; ++i) {
    start(QString::number(i), u"n"_s);
    chunk(QString::number(i), "x");
    end(QString::number(i));
  }
  for (const Sent& sent : sender_.sent) rejected += sent.message.value(u"type") == QJsonValue(u"file_rejected"_s);
  EXPECT_GT(rejected, 4800);
  unplug();
  start(u"last"_s, u"z"_s);
  EXPECT_TRUE(testloop::waitFor([&] { return names().contains(u"a"_s); }));
}

TEST_F(FileReceiverTest, answersNobodyOnceItIsGone) {
  plug();
  start(u"1"_s, u"a"_s);
  unplug();
  files_.reset();
  testloop::drain();
  EXPECT_TRUE(sender_.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
