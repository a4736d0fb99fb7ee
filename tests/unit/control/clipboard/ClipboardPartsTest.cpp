// Texts that do not fit into one message.
#include "tests/unit/control/clipboard/ClipboardSyncFixture.h"

namespace vantora {
namespace {

constexpr qint64 kMaxBytes = Clipboard::kMaxTextBytes;

Sent tooLarge(qint64 length, qint64 limit, ControlChannel channel = ControlChannel::reliable) {
  return {channel, {{u"type"_s, u"clipboard_too_large"_s}, {u"length"_s, length}, {u"limit"_s, limit}}};
}

class ClipboardPartsTest : public ClipboardSyncFixture {
 protected:
  static constexpr qint64 kLimit = 1000;

  ClipboardPartsTest() { sender_.longest = kLimit; }

  void askInParts(ControlChannel origin = ControlChannel::reliable) {
    say({{u"type"_s, u"clipboard_request"_s}, {u"parts"_s, true}}, origin);
  }
  void watchInParts() {
    say({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, true}, {u"parts"_s, true}});
    scheduler_.advance(1s);
    sender_.take();
  }
  // Checks the pieces that were sent and returns their text.
  QString arrived(const QList<Sent>& sent) {
    QString text;
    qint64 part = 0;
    for (const auto& [channel, message] : sent) {
      EXPECT_EQ(channel, ControlChannel::reliable);
      EXPECT_EQ(message.value(u"type"), u"clipboard_sync"_s);
      EXPECT_EQ(message.value(u"id"), sent.first().message.value(u"id"));
      EXPECT_EQ(message.value(u"part").toInteger(), part++);
      EXPECT_EQ(message.value(u"parts").toInteger(), sent.size());
      EXPECT_EQ(message.value(u"length").toInteger(), clipboard_.text.toUtf8().size());
      EXPECT_LE(toJson(message).size(), kLimit);
      text += message.value(u"text").toString();
    }
    return text;
  }
  JsonObject piece(qint64 part, const QString& text, qint64 id = 1) {
    return {{u"type"_s, u"clipboard_set"_s},
            {u"id"_s, id},
            {u"part"_s, part},
            {u"parts"_s, 2},
            {u"length"_s, 8},
            {u"text"_s, text},
            {u"req"_s, part}};
  }
};

// Viewers without support for pieces

TEST_F(ClipboardPartsTest, saysThatATextDoesNotFit) {
  clipboard_.text = QString(966, u'x');  // With 35 bytes besides it.
  request();
  request(ControlChannel::control);
  EXPECT_EQ(sender_.take(), (QList<Sent>{tooLarge(966, kLimit), tooLarge(966, kLimit, ControlChannel::control)}));
  clipboard_.text = QString(965, u'x');
  request();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(clipboard_.text)});
}

TEST_F(ClipboardPartsTest, countsEscapesWhenItChecksWhetherATextFits) {
  clipboard_.text = QString(200, QChar(1));
  request();
  EXPECT_EQ(sender_.take(), QList<Sent>{tooLarge(200, kLimit)});
  clipboard_.text = QString(300, u'表');
  request();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(clipboard_.text)});
  clipboard_.text = QString(400, u'表');
  request();
  EXPECT_EQ(sender_.take(), QList<Sent>{tooLarge(1200, kLimit)});
}

TEST_F(ClipboardPartsTest, saysTheLengthOfATextThatIsTooLongToBeRead) {
  clipboard_.readable = false;
  clipboard_.tooLong = kMaxBytes + 5;
  request();
  askInParts();
  scheduler_.advance(ClipboardSync::kRest);
  EXPECT_EQ(sender_.take(), (QList<Sent>{tooLarge(kMaxBytes + 5, kLimit), tooLarge(kMaxBytes + 5, kMaxBytes)}));
}

TEST_F(ClipboardPartsTest, givesPiecesOnlyToWhoAskedForThem) {
  clipboard_.text = QString(5000, u'x');
  for (const QJsonValue& parts : {QJsonValue(false), QJsonValue(1), QJsonValue(u"true"_s)}) {
    say({{u"type"_s, u"clipboard_request"_s}, {u"parts"_s, parts}});
    EXPECT_EQ(sender_.take(), QList<Sent>{tooLarge(5000, kLimit)});
  }
  watch();
  clipboard_.copy(QString(6000, u'y'));
  scheduler_.advance(2s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

// Viewers with support for pieces

TEST_F(ClipboardPartsTest, sendsALongTextInPieces) {
  clipboard_.text = (u"abc\n\"🙂ü表"_s + QChar(1)).repeated(500);
  askInParts();
  const auto sent = sender_.take();
  EXPECT_GT(sent.size(), 8);
  EXPECT_EQ(arrived(sent), clipboard_.text);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  askInParts();
  const auto again = sender_.take();
  EXPECT_NE(again.first().message.value(u"id"), sent.first().message.value(u"id"));
}

TEST_F(ClipboardPartsTest, sendsAShortTextAsEver) {
  clipboard_.text = u"short"_s;
  askInParts();
  askInParts(ControlChannel::control);
  EXPECT_EQ(sender_.take(), (QList<Sent>{synced(u"short"_s), synced(u"short"_s, ControlChannel::control)}));
}

TEST_F(ClipboardPartsTest, refusesATextAboveTenMebibytes) {
  sender_.longest = 262'144;
  clipboard_.text = QString(kMaxBytes + 1, u'x');
  askInParts();
  EXPECT_EQ(sender_.take(), QList<Sent>{tooLarge(kMaxBytes + 1, kMaxBytes)});
  clipboard_.text.chop(1);
  scheduler_.advance(ClipboardSync::kRest);
  askInParts();
  scheduler_.advance(30s);
  qsizetype units = 0;
  for (const auto& each : sender_.take()) units += each.message.value(u"text").toString().size();
  EXPECT_EQ(units, kMaxBytes);
}

TEST_F(ClipboardPartsTest, waitsWhileTooMuchWaitsToLeave) {
  clipboard_.text = QString(200'000, u'x');
  sender_.buffered = OutgoingText::kMaxWaiting;
  askInParts();
  scheduler_.advance(1s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  sender_.buffered = 0;
  scheduler_.advance(OutgoingText::kCheckPeriod);
  EXPECT_GT(sender_.sent.size(), 1);
  EXPECT_LE(sender_.sent.size(), 66) << "too much at once";
  scheduler_.advance(1s);
  EXPECT_EQ(arrived(sender_.take()), clipboard_.text);
}

TEST_F(ClipboardPartsTest, restartsForAViewerThatAsksAgain) {
  clipboard_.text = QString(200'000, u'x');
  askInParts();
  const auto lost = sender_.take();
  ASSERT_FALSE(lost.isEmpty());
  askInParts();
  scheduler_.advance(1s);
  const auto sent = sender_.take();
  EXPECT_EQ(arrived(sent), clipboard_.text);
  EXPECT_NE(sent.first().message.value(u"id"), lost.first().message.value(u"id"));
}

TEST_F(ClipboardPartsTest, doesNotReadAgainForWhoAsksWhileTheTextIsUnderWay) {
  clipboard_.text = QString(200'000, u'x');
  askInParts();
  for (int i = 0; i < 10; ++i) {
    scheduler_.advance(OutgoingText::kCheckPeriod);
    askInParts();
  }
  EXPECT_EQ(clipboard_.reads, 1);
  sender_.take();
  scheduler_.advance(1s);
  EXPECT_EQ(arrived(sender_.take()), clipboard_.text);
  askInParts();
  EXPECT_EQ(clipboard_.reads, 2) << "the transfer has ended";
  // A viewer without support for pieces, a new copy and a newly set text are read again.
  request();
  EXPECT_EQ(clipboard_.reads, 3);
  clipboard_.copy(QString(200'000, u'y'));
  askInParts();
  sender_.take();
  EXPECT_EQ(clipboard_.reads, 4);
  set(u"short"_s);
  askInParts();
  EXPECT_EQ(clipboard_.reads, 5);
  EXPECT_EQ(sender_.take().last(), synced(u"short"_s));
}

TEST_F(ClipboardPartsTest, restsAfterALongReading) {
  clipboard_.text = QString(ClipboardSync::kLongReading + 1, u'x');
  for (int i = 0; i < 10; ++i) request();
  EXPECT_EQ(clipboard_.reads, 1);
  EXPECT_EQ(sender_.take().size(), 1);
  scheduler_.advance(999ms);
  EXPECT_EQ(clipboard_.reads, 1);
  set(u"short"_s);
  EXPECT_EQ(clipboard_.text, u"short"_s) << "only readings wait";
  sender_.take();
  scheduler_.advance(1ms);
  EXPECT_EQ(clipboard_.reads, 2);
  EXPECT_EQ(sender_.take(), QList<Sent>(9, synced(u"short"_s)));
  request();
  EXPECT_EQ(clipboard_.reads, 3);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(ClipboardPartsTest, seesACopyAfterTheRest) {
  sender_.longest = 262'144;
  watchInParts();
  clipboard_.text = QString(ClipboardSync::kLongReading + 1, u'x');
  request();
  sender_.take();
  clipboard_.copy(u"copied"_s, true);
  scheduler_.advance(500ms);
  EXPECT_TRUE(sender_.sent.isEmpty());
  scheduler_.advance(500ms);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"copied"_s)});
}

TEST_F(ClipboardPartsTest, answersWhoAskedDuringAReadingWithThePiecesOfOneText) {
  clipboard_.text = QString(200'000, u'x');
  clipboard_.slow = true;
  request();
  for (int i = 0; i < 10; ++i) askInParts();
  clipboard_.answer();
  sender_.take();
  clipboard_.answer();
  scheduler_.advance(1s);
  EXPECT_EQ(clipboard_.reads, 2);
  EXPECT_EQ(arrived(sender_.take()), clipboard_.text);
}

TEST_F(ClipboardPartsTest, sendsANewerTextInPlaceOfAnUnfinishedOne) {
  clipboard_.text = QString(200'000, u'x');
  askInParts();
  sender_.take();
  clipboard_.copy(QString(150'000, u'y'));
  askInParts();
  scheduler_.advance(1s);
  EXPECT_EQ(arrived(sender_.take()), clipboard_.text);
  clipboard_.text = QString(200'000, u'x');
  askInParts();
  sender_.take();
  clipboard_.copy(u"short"_s);
  askInParts();
  scheduler_.advance(1s);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"short"_s)});
}

TEST_F(ClipboardPartsTest, sendsPiecesOfACopy) {
  watchInParts();
  clipboard_.copy(QString(5000, u'x'));
  scheduler_.advance(2s);
  EXPECT_EQ(arrived(sender_.take()), clipboard_.text);
  say({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, true}});
  scheduler_.advance(1s);
  sender_.take();
  clipboard_.copy(QString(6000, u'x'));
  scheduler_.advance(2s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardPartsTest, saysThatACopyIsTooLongForPieces) {
  watchInParts();
  clipboard_.copy(QString());
  clipboard_.readable = false;
  clipboard_.tooLong = kMaxBytes + 1;
  scheduler_.advance(2s);
  EXPECT_EQ(sender_.take(), QList<Sent>{tooLarge(kMaxBytes + 1, kMaxBytes)});
}

TEST_F(ClipboardPartsTest, takesNoCopyThatIsTooLongForTheEmptyTextOfTheViewer) {
  watchInParts();
  set(QString());
  sender_.take();
  clipboard_.copy(QString());
  clipboard_.readable = false;
  clipboard_.tooLong = kMaxBytes + 1;
  scheduler_.advance(2s);
  EXPECT_EQ(sender_.take(), QList<Sent>{tooLarge(kMaxBytes + 1, kMaxBytes)});
}

TEST_F(ClipboardPartsTest, takesNextViewersForOnesThatKnowNoPieces) {
  watchInParts();
  sender_.connectionNumber = 2;
  clipboard_.copy(QString(5000, u'x'));
  scheduler_.advance(2s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardPartsTest, endsWithTheChannel) {
  clipboard_.text = QString(200'000, u'x');
  askInParts();
  sender_.take();
  sync_->channelClosed(ControlChannel::control);
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  sync_->channelClosed(ControlChannel::reliable);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  scheduler_.advance(1s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardPartsTest, dropsACopyWhenTheViewerSetsAText) {
  watchInParts();
  clipboard_.copy(QString(200'000, u'x'));
  scheduler_.advance(1999ms);
  sender_.buffered = OutgoingText::kMaxWaiting;
  scheduler_.advance(1ms);
  set(u"newer"_s);
  sender_.take();
  sender_.buffered = 0;
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  // A requested text is still sent.
  clipboard_.text = QString(200'000, u'z');
  askInParts();
  QList<Sent> sent = sender_.take();
  const QString text = clipboard_.text;
  set(u"newer still"_s);
  sender_.take();
  scheduler_.advance(1s);
  sent += sender_.take();
  clipboard_.text = text;
  EXPECT_EQ(arrived(sent), text);
}

TEST_F(ClipboardPartsTest, neverSendsPiecesOnTheLossyChannel) {
  clipboard_.text = QString(5000, u'x');
  askInParts(ControlChannel::control);
  EXPECT_EQ(arrived(sender_.take()), clipboard_.text);
  sender_.reliable.open = false;
  askInParts(ControlChannel::control);
  EXPECT_EQ(sender_.take(), QList<Sent>{tooLarge(5000, kLimit, ControlChannel::control)});
}

// Texts from the viewer

TEST_F(ClipboardPartsTest, setsATextThatCameInPiecesAndAcknowledgesTheLast) {
  say(piece(0, u"über"_s));
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(clipboard_.sets, 0);
  say(piece(1, u"all"_s));
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 1}}}}));
  EXPECT_EQ(clipboard_.text, u"überall"_s);
  EXPECT_EQ(log_.lines(), QStringList{u"[sync] Clipboard updated from client: \"überall\""_s});
}

TEST_F(ClipboardPartsTest, takesNoPiecesFromTheLossyChannel) {
  say(piece(0, u"über"_s), ControlChannel::control);
  say(piece(1, u"all"_s), ControlChannel::control);
  say(piece(0, u"über"_s));
  say(piece(1, u"all"_s), ControlChannel::control);
  EXPECT_EQ(clipboard_.sets, 0);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardPartsTest, forgetsPiecesWhenAnotherTextOrTheEndComes) {
  say(piece(0, u"über"_s));
  set(u"whole"_s);
  say(piece(1, u"all"_s));
  EXPECT_EQ(clipboard_.text, u"whole"_s);
  say(piece(0, u"über"_s));
  sync_->channelClosed(ControlChannel::reliable);
  say(piece(1, u"all"_s));
  EXPECT_EQ(clipboard_.sets, 1);
}

TEST_F(ClipboardPartsTest, tellsTheViewerThatItsTextIsTooLong) {
  JsonObject tooLong = piece(0, u"über"_s, 9);
  tooLong.insert(u"length"_s, kMaxBytes + 1);
  say(tooLong);
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::reliable,
                                          {{u"type"_s, u"clipboard_too_large"_s},
                                           {u"id"_s, 9},
                                           {u"length"_s, kMaxBytes + 1},
                                           {u"limit"_s, kMaxBytes}}}}));
  say(piece(1, u"all"_s, 9));
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(clipboard_.sets, 0);
}

TEST_F(ClipboardPartsTest, takesATextForWholeUnlessItsPartsAreCounted) {
  for (const QJsonValue& parts : {QJsonValue(true), QJsonValue(u"2"_s), QJsonValue(1.5)}) {
    say({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, u"all of it"_s}, {u"parts"_s, parts}});
    EXPECT_EQ(sender_.take().size(), 1);
  }
  EXPECT_EQ(clipboard_.sets, 3);
  say({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, u"a part"_s}, {u"parts"_s, 2}});
  EXPECT_EQ(clipboard_.sets, 3);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
