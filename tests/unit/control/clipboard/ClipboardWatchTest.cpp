// Copies on the host and the messages about them.
#include "tests/unit/control/clipboard/ClipboardSyncFixture.h"

namespace vantora {
namespace {

class ClipboardWatchTest : public ClipboardSyncFixture {};

TEST_F(ClipboardWatchTest, saysWhenTheWatcherStartsAndStops) {
  say({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, true}, {u"req"_s, 1}});
  EXPECT_EQ(log_.lines(), (QStringList{u"[sync] Clipboard monitoring started"_s, u"[sync] Clipboard sync enabled"_s}));
  log_.clear();
  say({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, false}, {u"req"_s, 2}});
  EXPECT_EQ(log_.lines(), (QStringList{u"[sync] Clipboard monitoring stopped"_s, u"[sync] Clipboard sync disabled"_s}));
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 1}}},
                                         {ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 2}}}}));
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(ClipboardWatchTest, ignoresASwitchThatIsNoBoolean) {
  for (const char* text : {R"({"type":"clipboard_sync_enabled"})", R"({"type":"clipboard_sync_enabled","enabled":1})",
                           R"({"type":"clipboard_sync_enabled","enabled":"true"})"}) {
    dispatcher_.dataChannelDidReceiveMessage(ControlChannel::reliable, text, false);
  }
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardWatchTest, sendsNothingWhileItIsOff) {
  clipboard_.copy(u"secret"_s, true);
  scheduler_.advance(1min);
  EXPECT_EQ(clipboard_.reads, 0);
  EXPECT_TRUE(sender_.sent.isEmpty());
  sync_->startClipboardMonitoring();
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardWatchTest, checksAfterOneSecondAndThenEveryTwo) {
  sync_->setClipboardSyncEnabled(true);
  clipboard_.copy(u"one"_s);
  scheduler_.advance(999ms);
  EXPECT_TRUE(sender_.sent.isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"one"_s)});
  clipboard_.copy(u"two"_s);
  scheduler_.advance(1999ms);
  EXPECT_TRUE(sender_.sent.isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"two"_s)});
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(clipboard_.reads, 2) << "read without a change";
}

TEST_F(ClipboardWatchTest, checksSoonerAfterAChangeEvent) {
  watch();
  for (int i = 0; i < 100; ++i) clipboard_.copy(QString::number(i), true);
  scheduler_.advance(100ms);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"99"_s)});
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.copy(u"again"_s, true);
  scheduler_.advance(100ms);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"again"_s)});
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
}

TEST_F(ClipboardWatchTest, logsAPreviewOfWhatItSends) {
  watch();
  clipboard_.copy(u"ünïcödé 表 12345678 👩‍👩‍👧👩‍👩‍👧"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(log_.lines(),
            QStringList{
                u"[sync] Clipboard changed, syncing to client: \"ünïcödé 表 12345678 👩‍👩‍👧...\""_s});
  sender_.take();
  log_.clear();
  clipboard_.copy(u""_s);  // For instance an image.
  scheduler_.advance(2s);
  EXPECT_EQ(log_.lines(), QStringList{u"[sync] Clipboard changed, syncing to client: \"\""_s});
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u""_s)});
}

TEST_F(ClipboardWatchTest, keepsACopyThatIsTooLongFromAViewerThatKnowsNoPieces) {
  watch();
  sender_.longest = 65;
  clipboard_.copy(QString(31, u'x'));
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(log_.lines(),
            (QStringList{u"[sync] Clipboard changed, syncing to client: \"xxxxxxxxxxxxxxxxxxxx...\""_s,
                         u"[sync] Clipboard text of 31 bytes not sent: the viewer takes 65 bytes at most"_s}));
  clipboard_.copy(u"short"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"short"_s)});
}

TEST_F(ClipboardWatchTest, doesNotSendWhatWasThereBefore) {
  clipboard_.copy(u"before"_s);
  sync_->setClipboardSyncEnabled(true);
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(clipboard_.reads, 0);
}

TEST_F(ClipboardWatchTest, doesNotSendBackWhatTheViewerSet) {
  watch();
  set(u"from the viewer"_s);
  sender_.take();
  log_.clear();
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardWatchTest, echoesNothingInTenThousandAlternatingCopies) {
  watch();
  int wrong = 0;
  for (int i = 0; i < 10'000; ++i) {
    const QString text = QString::number(i);
    if (i % 2 == 0) {
      set(text);
      scheduler_.advance(2s);
      wrong += sender_.take().size() != 1;  // The acknowledgement.
    } else {
      clipboard_.copy(text, i % 4 == 1);
      scheduler_.advance(2s);
      wrong += sender_.take() != QList<Sent>{synced(text)};
    }
    log_.clear();
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(ClipboardWatchTest, echoesNothingOnASlowClipboard) {
  watch();
  clipboard_.slow = true;
  set(u"one"_s);
  sender_.take();
  scheduler_.advance(10s);  // The operation is still waiting: no change is visible.
  EXPECT_EQ(clipboard_.waiting.size(), 1U);
  clipboard_.answer();
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardWatchTest, doesNotSendBackTheViewersTextWhenAClipboardManagerTakesItOver) {
  watch();
  set(u"viewer"_s);
  sender_.take();
  log_.clear();
  clipboard_.copy(u"viewer"_s, true);
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
  // After another text it counts as a change.
  clipboard_.copy(u"person"_s);
  scheduler_.advance(2s);
  clipboard_.copy(u"viewer"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(sender_.take(), (QList<Sent>{synced(u"person"_s), synced(u"viewer"_s)}));
}

TEST_F(ClipboardWatchTest, sendsTheViewersTextWhenAPersonCopiesItLater) {
  watch();
  set(u"viewer"_s);
  sender_.take();
  log_.clear();
  scheduler_.advance(10s);
  clipboard_.copy(u"viewer"_s, true);
  scheduler_.advance(2s);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"viewer"_s)});
  EXPECT_EQ(log_.lines(), QStringList{u"[sync] Clipboard changed, syncing to client: \"viewer\""_s});
}

TEST_F(ClipboardWatchTest, recognisesAClipboardManagerWithoutChangeEvents) {
  watch();
  set(u"viewer"_s);
  scheduler_.advance(2500ms);
  clipboard_.copy(u"viewer"_s);
  sender_.take();
  clipboard_.slow = true;  // The time of the check counts, not when the text arrives.
  scheduler_.advance(2s);
  scheduler_.advance(10s);
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardWatchTest, sendsNothingWhenTheTextCannotBeRead) {
  watch();
  clipboard_.readable = false;
  clipboard_.copy(u"unreadable"_s, true);
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
  EXPECT_EQ(clipboard_.reads, 1);
  // A request is still answered, and the next change is read.
  request();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u""_s)});
  clipboard_.readable = true;
  clipboard_.copy(u"readable"_s, true);
  scheduler_.advance(1s);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"readable"_s)});
}

TEST_F(ClipboardWatchTest, sendsACopyThatFollowsTheViewersText) {
  watch();
  clipboard_.slow = true;
  set(u"viewer"_s);
  clipboard_.answer();
  clipboard_.copy(u"person"_s, true);
  sender_.take();
  scheduler_.advance(2s);
  clipboard_.answer();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"person"_s)});
}

TEST_F(ClipboardWatchTest, letsTheViewersTextWinOverACopyThatIsStillBeingRead) {
  watch();
  clipboard_.slow = true;
  clipboard_.copy(u"person"_s);
  scheduler_.advance(2s);
  set(u"viewer"_s);
  sender_.take();
  log_.clear();
  while (clipboard_.answer()) {
  }
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
  EXPECT_EQ(clipboard_.text, u"viewer"_s);
}

TEST_F(ClipboardWatchTest, doesNotSendACopyThatTheViewersTextReplaced) {
  watch();
  clipboard_.slow = true;
  set(u"one"_s);
  clipboard_.copy(u"person"_s);  // Before the text arrives at the clipboard.
  scheduler_.advance(2s);
  sender_.take();
  clipboard_.answer();
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardWatchTest, readsOneAtATimeAndSendsAChangeDuringAReadingLater) {
  watch();
  clipboard_.slow = true;
  clipboard_.copy(u"one"_s);
  scheduler_.advance(20s);
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.copy(u"two"_s);
  scheduler_.advance(20s);
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.answer();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"two"_s)}) << "the clipboard as it is when it is sent";
  scheduler_.advance(2s);
  clipboard_.answer();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"two"_s)});
  scheduler_.advance(20s);
  EXPECT_EQ(clipboard_.reads, 2);
}

TEST_F(ClipboardWatchTest, answersARequestAndACheckWithOneReading) {
  watch();
  clipboard_.slow = true;
  set(u"x"_s);
  clipboard_.answer();
  set(u"y"_s);
  request();
  clipboard_.copy(u"z"_s);
  clipboard_.slow = false;
  clipboard_.answer();
  sender_.take();
  clipboard_.copy(u"w"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"w"_s)});
}

TEST_F(ClipboardWatchTest, warnsOnceAndNeverSendsWhatWasCopiedWhileTheChannelWasClosed) {
  watch();
  sender_.reliable.open = false;
  clipboard_.copy(u"lost"_s);
  scheduler_.advance(10s);
  EXPECT_EQ(log_.lines(), (QStringList{u"[sync] Clipboard changed, syncing to client: \"lost\""_s,
                                       u"[sync] Warning: Data channel not ready"_s}));
  sender_.reliable.open = true;
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  sender_.reliable.exists = false;
  clipboard_.copy(u"lost, too"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(log_.lines().last(), u"[sync] Warning: Data channel not ready"_s);
  sender_.reliable.exists = true;
  clipboard_.copy(u"seen"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"seen"_s)});
}

TEST_F(ClipboardWatchTest, runsOneTimerHoweverOftenItIsSwitchedOn) {
  for (int i = 0; i < 5; ++i) sync_->setClipboardSyncEnabled(true);
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  clipboard_.copy(u"a"_s);
  scheduler_.advance(1s);
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"a"_s)});
  sync_->setClipboardSyncEnabled(false);
  clipboard_.copy(u"b"_s, true);
  scheduler_.advance(10s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardWatchTest, sendsNothingThatWasReadBeforeItWasSwitchedOff) {
  watch();
  clipboard_.slow = true;
  clipboard_.copy(u"a"_s);
  scheduler_.advance(2s);
  sync_->setClipboardSyncEnabled(false);
  clipboard_.answer();
  EXPECT_TRUE(sender_.sent.isEmpty());
  clipboard_.copy(u"b"_s);
  sync_->setClipboardSyncEnabled(true);
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
}

TEST_F(ClipboardWatchTest, leavesNothingBehind) {
  watch();
  clipboard_.slow = true;
  request();
  set(u"x"_s);
  sender_.take();
  clipboard_.copy(u"y"_s, true);
  sync_.reset();
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  EXPECT_FALSE(clipboard_.changed);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(sender_.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
