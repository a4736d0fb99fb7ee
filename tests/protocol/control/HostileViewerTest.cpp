// A viewer and a server that send invalid messages, against a whole session.
#include <QJsonArray>
#include <random>

#include "main/control/dispatch/ControlMessageTable.h"
#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QList<QByteArray>& oddValues() {
  static const QList<QByteArray> values{"null",
                                        "true",
                                        "-1",
                                        "0",
                                        "0.5",
                                        "1e308",
                                        "-1e308",
                                        "9223372036854775807",
                                        "-9223372036854775808",
                                        "123456789012345678901234567890",
                                        R"("")",
                                        R"("KeyA")",
                                        R"("\u0000")",
                                        R"("\ud800")",
                                        "[]",
                                        "{}",
                                        R"({"a":[1,{"b":null}]})",
                                        "\"" + QByteArray(100'000, 'x') + "\""};
  return values;
}

const QList<QByteArray>& fieldNames() {
  static const QList<QByteArray> names{
      "codec",  "profile", "t0",    "preset", "maxBitrateKbps", "fps",       "width", "height", "token",
      "enable", "index",   "x",     "y",      "button",         "timestamp", "dx",    "dy",     "code",
      "mods",   "text",    "id",    "pid",    "name",           "size",      "data",  "shape",  "enabled",
      "req",    "part",    "parts", "length"};
  return names;
}

class HostileViewerTest : public HostFixture {
 protected:
  // Every reply is JSON with a type that the protocol knows.
  void expectSoundReplies() {
    static const QStringList known{u"ack"_s,
                                   u"pong"_s,
                                   u"ptr"_s,
                                   u"auth"_s,
                                   u"control_state"_s,
                                   u"permission_required"_s,
                                   u"command_result"_s,
                                   u"diagnostics_result"_s,
                                   u"clipboard_sync"_s,
                                   u"clipboard_too_large"_s,
                                   u"cursor_shape"_s,
                                   u"file_ready"_s,
                                   u"file_rejected"_s,
                                   u"file_saved"_s,
                                   u"text_typed"_s,
                                   u"host_stats"_s,
                                   u"display_info"_s};
    for (const QLatin1StringView label : {"control"_L1, "control_reliable"_L1}) {
      for (const JsonObject& message : received(label)) {
        const QString type = message.value(u"type").toString();
        EXPECT_TRUE(known.contains(type)) << toJson(message).left(200).toStdString();
      }
    }
  }
  void expectSoundState() {
    EXPECT_TRUE(host_->authorisation().controlAuthed() == false || !host_->authorisation().getPIN().isEmpty());
    const auto& sender = peer().sender();
    EXPECT_GT(sender.maxBitrateBps.value_or(1), 0);
    EXPECT_GT(sender.maxFramerate.value_or(1), 0);
    EXPECT_GT(peer().maxBitrateBps, 0);
    EXPECT_GE(sources_.synthetic().width, 16);
    EXPECT_LE(sources_.synthetic().width, 7680);
    EXPECT_GE(sources_.synthetic().height, 16);
    EXPECT_LE(sources_.synthetic().height, 4320);
  }
};

TEST_F(HostileViewerTest, survivesEveryTypeWithEveryOddValueInEveryField) {
  connectInControl();
  for (const ControlMessageRow& row : controlMessageTable()) {
    const QByteArray head = QByteArray(R"({"type":")") + row.type.data() + "\"";
    for (const QByteArray& value : oddValues()) {
      QByteArray message = head;
      for (const QByteArray& name : fieldNames()) {
        // A long text in one field tests as much as in all of them, and is much faster.
        if (value.size() > 1000 && name != "text" && name != "req" && name != "token") continue;
        message += ",\"" + name + "\":" + value;
      }
      say(message + "}", "control"_L1);
      say(message + "}");
      peer().settle();
      expectSoundReplies();
      journal_.take();
      sockets_.last().sent.clear();
    }
  }
  expectSoundState();
}

TEST_F(HostileViewerTest, survivesEachFieldAloneWithEachOddValue) {
  connectInControl();
  for (const ControlMessageRow& row : controlMessageTable()) {
    for (const QByteArray& name : fieldNames()) {
      for (const QByteArray& value : oddValues()) {
        if (value.size() > 1000) continue;
        say(QByteArray(R"({"x":0.5,"y":0.5,"type":")") + row.type.data() + "\",\"" + name + "\":" + value + "}");
      }
    }
    peer().settle();
    expectSoundReplies();
    journal_.take();
    sockets_.last().sent.clear();
  }
  expectSoundState();
}

TEST_F(HostileViewerTest, staysSilentForDamagedMessages) {
  connectViewer();
  std::mt19937 random(7);
  const QByteArray good = R"({"type":"auth","token":"000042","req":{"n":[1,2,3]}})";
  // Truncated anywhere, a message is invalid.
  for (qsizetype length = 0; length < good.size(); ++length) say(good.first(length));
  EXPECT_TRUE(received().isEmpty());
  EXPECT_FALSE(host_->authorisation().controlAuthed());
  for (int i = 0; i < 4000; ++i) {
    QByteArray damaged = good;
    for (unsigned changes = random() % 4 + 1; changes > 0; --changes) {
      damaged[static_cast<qsizetype>(random() % static_cast<unsigned>(damaged.size()))] = static_cast<char>(random());
    }
    say(damaged);
  }
  expectSoundReplies();
}

TEST_F(HostileViewerTest, grantsNothingToAViewerThatGuessesWrongly) {
  connectViewer();
  for (const QByteArray& value : oddValues()) {
    say(R"({"type":"auth","token":)" + value + "}");
    say(R"({"type":"control","enable":)" + value + "}");
    EXPECT_FALSE(host_->authorisation().controlAuthed());
    EXPECT_FALSE(host_->authorisation().controlEnabled());
  }
}

TEST_F(HostileViewerTest, survivesOddSignallingMessages) {
  connectViewer();
  for (const char* type : {"renegotiate", "client_prefs", "answer", "ice", "chat_broadcast", "reaction_broadcast"}) {
    for (const char* name : {"prefs", "sdp", "candidate", "from", "text", "ts", "reaction"}) {
      for (const QByteArray& value : oddValues()) {
        sockets_.last().deliverText(
            QString::fromUtf8(QByteArray(R"({"type":")") + type + "\",\"" + name + "\":" + value + "}"));
        peer().settle();
        journal_.take();
        sockets_.last().sent.clear();
      }
    }
  }
  for (const QByteArray& value : oddValues()) {
    sockets_.last().deliverText(
        QString::fromUtf8(R"({"type":"client_prefs","prefs":{"quality":)" + value + R"(,"fps":)" + value + "}}"));
    sockets_.last().deliverText(QString::fromUtf8(R"({"type":"ice","candidate":{"candidate":)" + value +
                                                  R"(,"sdpMid":)" + value + R"(,"sdpMLineIndex":)" + value + "}}"));
    peer().settle();
  }
  expectSoundState();
  EXPECT_TRUE(host_->getQualityPreset().size() > 0);
}

TEST_F(HostileViewerTest, keepsBoundedWhatAServerMakesItRemember) {
  start();
  for (int i = 0; i < 2000; ++i) {
    signal({{u"type"_s, u"ice"_s}, {u"candidate"_s, JsonObject{{u"candidate"_s, QString(1000, u'x')}}}});
  }
  peer().settle();
  answer(u"AA"_s, u"u"_s);
  EXPECT_LE(peer().candidates.size(), 1000);
}

}  // namespace
}  // namespace vantora
