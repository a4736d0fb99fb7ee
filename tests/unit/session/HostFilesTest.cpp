// The viewer's files and clipboard through a whole session.
#include <QDir>

#include "tests/fakes/EventLoop.h"
#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostFilesTest : public HostFixture {
 protected:
  HostFilesTest() { testloop::ensureApplication(); }
  QStringList names() const { return QDir(downloads_.path()).entryList(QDir::Files | QDir::Hidden); }
  JsonObject waitFor(const QString& type) {
    JsonObject found;
    EXPECT_TRUE(testloop::waitFor([&] {
      for (const JsonObject& message : received()) {
        if (message.value(u"type").toString() == type) found = message;
      }
      return !found.isEmpty();
    })) << type.toStdString();
    return found;
  }
  void announce(const QString& id = u"1"_s) {
    say({{u"type"_s, u"file_start"_s}, {u"id"_s, id}, {u"name"_s, u"a.txt"_s}, {u"size"_s, 4}});
  }
};

TEST_F(HostFilesTest, receivesAFileBeforeThePinWasGiven) {
  connectViewer();
  announce();
  EXPECT_EQ(waitFor(u"file_ready"_s).value(u"id"_s), QJsonValue(u"1"_s));
  say({{u"type"_s, u"file_chunk"_s}, {u"id"_s, u"1"_s}, {u"data"_s, u"YWI="_s}});
  peer().reliable().deliver(QByteArray("cd"), true);
  say({{u"type"_s, u"file_end"_s}, {u"id"_s, u"1"_s}});
  EXPECT_EQ(waitFor(u"file_saved"_s).value(u"size"_s), QJsonValue(4));
  QFile file(downloads_.filePath(u"a.txt"_s));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), "abcd");
}

TEST_F(HostFilesTest, refusesFilesWhileTheUserDoesNotWantAny) {
  connectViewer();
  EXPECT_TRUE(host_->isFileReceiveAllowed());
  int changes = 0;
  host_->setChangedHandler([&] { ++changes; });
  host_->setFileReceiveAllowed(false);
  EXPECT_EQ(changes, 1);
  EXPECT_FALSE(host_->isFileReceiveAllowed());
  EXPECT_EQ(logged(), QStringList{u"[file] allow incoming files = false"_s});
  announce();
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"file_rejected"_s},
                                            {u"id"_s, u"1"_s},
                                            {u"name"_s, u"a.txt"_s},
                                            {u"reason"_s, u"disabled"_s}}}));
  host_->setFileReceiveAllowed(true);
  announce(u"2"_s);
  waitFor(u"file_ready"_s);
  EXPECT_EQ(names(), QStringList{u"a.txt"_s});
}

TEST_F(HostFilesTest, keepsATransferWhenAChannelCloses) {
  connectViewer();
  announce();
  waitFor(u"file_ready"_s);
  peer().reliable().close();
  peer().reliable().open();
  peer().reliable().deliver(QByteArray("half"), true);
  say({{u"type"_s, u"file_end"_s}, {u"id"_s, u"1"_s}});
  EXPECT_EQ(waitFor(u"file_saved"_s).value(u"size"_s), QJsonValue(4));
}

TEST_F(HostFilesTest, tellsAnotherViewerNothingOfWhatTheFirstViewerRequested) {
  connectViewer();
  clipboard_.slow = true;
  clipboard_.text = u"secret"_s;
  say({{u"type"_s, u"clipboard_request"_s}});
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  answer(u"BB"_s, u"u2"_s);
  ASSERT_EQ(factory_.peers.size(), 2U);
  peer().reliable().open();
  received();
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_TRUE(received().isEmpty());
}

TEST_F(HostFilesTest, answersAClipboardRequestBeforeAuthentication) {
  connectViewer();
  host_->authorisation().setAllowRemoteControl(false);
  clipboard_.text = u"text"_s;
  say({{u"type"_s, u"clipboard_request"_s}}, "control"_L1);
  EXPECT_EQ(received("control"_L1), (QList<JsonObject>{{{u"type"_s, u"clipboard_sync"_s}, {u"text"_s, u"text"_s}}}));
  EXPECT_TRUE(received().isEmpty());
}

TEST_F(HostFilesTest, watchesTheClipboardThroughAChannelThatCloses) {
  connectViewer();
  say({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, true}});
  peer().reliable().close();
  peer().reliable().open();
  forget();
  clipboard_.copy(u"copied"_s);
  scheduler_.advance(2s);
  EXPECT_TRUE(received().contains(JsonObject{{u"type"_s, u"clipboard_sync"_s}, {u"text"_s, u"copied"_s}}));
}

TEST_F(HostFilesTest, dropsTextsInPiecesWithTheChannelOrTheViewer) {
  connectViewer();
  const auto askAndBegin = [&] {
    clipboard_.text = QString(1'000'000, u'x');
    say({{u"type"_s, u"clipboard_request"_s}, {u"parts"_s, true}});
    say({{u"type"_s, u"clipboard_set"_s},
         {u"id"_s, 1},
         {u"part"_s, 0},
         {u"parts"_s, 2},
         {u"length"_s, 2},
         {u"text"_s, u"a"_s}});
    EXPECT_FALSE(received().isEmpty());
  };
  const auto expectNothing = [&] {
    forget();
    say({{u"type"_s, u"clipboard_set"_s},
         {u"id"_s, 1},
         {u"part"_s, 1},
         {u"parts"_s, 2},
         {u"length"_s, 2},
         {u"text"_s, u"b"_s}});
    scheduler_.advance(100ms);
    for (const JsonObject& message : received()) EXPECT_NE(message.value(u"type"), u"clipboard_sync"_s);
    EXPECT_EQ(clipboard_.sets, 0);
  };
  askAndBegin();
  peer().reliable().close();
  peer().reliable().open();
  expectNothing();
  askAndBegin();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  answer(u"BB"_s, u"u2"_s);
  ASSERT_EQ(factory_.peers.size(), 2U);
  peer().reliable().open();
  expectNothing();
}

TEST_F(HostFilesTest, setsTheClipboardAndAcknowledges) {
  connectViewer();
  say({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, u"x"_s}, {u"req"_s, JsonObject{{u"n"_s, 5}}}});
  EXPECT_EQ(clipboard_.text, u"x"_s);
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"ack"_s}, {u"req"_s, JsonObject{{u"n"_s, 5}}}}}));
}

}  // namespace
}  // namespace vantora
