#include <gtest/gtest.h>

#include "main/control/clipboard/ClipboardSync.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/fakes/FakeControlOutlet.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Sent = fakes::FakeControlOutlet::Sent;

Sent synced(const QString& text, ControlChannel channel = ControlChannel::reliable) {
  return {channel, {{u"type"_s, u"clipboard_sync"_s}, {u"text"_s, text}}};
}

class ClipboardSyncTest : public testing::Test {
 protected:
  ClipboardSyncTest() { bindClipboardMessages(dispatcher_, *sync_, outlet_); }
  void say(const JsonObject& message, ControlChannel origin = ControlChannel::reliable) {
    dispatcher_.dataChannelDidReceiveMessage(origin, toJson(message), false);
  }
  void request(ControlChannel origin = ControlChannel::reliable) { say({{u"type"_s, u"clipboard_request"_s}}, origin); }
  void set(const QString& text) { say({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, text}}); }
  // The watcher runs and has had its first look; nothing sent or logged.
  void watch() {
    sync_->setClipboardSyncEnabled(true);
    scheduler_.advance(1s);
    log_.clear();
    outlet_.take();
  }

  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  fakes::FakeClipboard clipboard_;
  fakes::FakeControlOutlet outlet_;
  std::unique_ptr<ClipboardSync> sync_ = std::make_unique<ClipboardSync>(clipboard_, outlet_, scheduler_);
  ControlDispatcher dispatcher_{outlet_, scheduler_, [](Gate) { return false; }};
};

// Asking

TEST_F(ClipboardSyncTest, answersARequestOnItsChannelWithoutAcknowledgement) {
  clipboard_.text = u"grün\n表"_s;
  request(ControlChannel::control);
  request(ControlChannel::reliable);
  EXPECT_EQ(outlet_.take(), (QList<Sent>{synced(u"grün\n表"_s, ControlChannel::control), synced(u"grün\n表"_s)}));
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardSyncTest, answersWithTheEmptyTextWhenThereIsNone) {
  request();
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u""_s)});
}

TEST_F(ClipboardSyncTest, answersWhenTheTextArrives) {
  clipboard_.slow = true;
  clipboard_.text = u"late"_s;
  request();
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"late"_s)});
}

TEST_F(ClipboardSyncTest, answersNobodyElseThanWhoAsked) {
  clipboard_.slow = true;
  request();
  outlet_.connectionNumber = 2;
  clipboard_.answer();
  EXPECT_TRUE(outlet_.sent.isEmpty());
}

TEST_F(ClipboardSyncTest, answersAllWhoAskedMeanwhileWithOneReading) {
  clipboard_.slow = true;
  clipboard_.text = u"old"_s;
  request();
  for (int i = 0; i < 5; ++i) request();
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.answer();
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"old"_s)});
  clipboard_.text = u"new"_s;
  clipboard_.answer();
  EXPECT_EQ(outlet_.take(), QList<Sent>(5, synced(u"new"_s)));
  EXPECT_EQ(clipboard_.reads, 2);
  EXPECT_FALSE(clipboard_.answer());
}

TEST_F(ClipboardSyncTest, remembersABoundedNumberOfRequests) {
  clipboard_.slow = true;
  for (int i = 0; i < 10'000; ++i) request();
  clipboard_.answer();
  clipboard_.answer();
  EXPECT_EQ(outlet_.sent.size(), 1 + ClipboardSync::kMaxWaitingRequests);
}

// Setting

TEST_F(ClipboardSyncTest, setsLogsAndAcknowledges) {
  say({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, u"abcdefghijklmnopqrstuvwxy"_s}, {u"req"_s, 5}});
  EXPECT_EQ(clipboard_.text, u"abcdefghijklmnopqrstuvwxy"_s);
  EXPECT_EQ(log_.lines(), QStringList{u"[sync] Clipboard updated from client: \"abcdefghijklmnopqrst...\""_s});
  EXPECT_EQ(outlet_.take(), (QList<Sent>{{ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 5}}}}));
}

TEST_F(ClipboardSyncTest, setsTheEmptyText) {
  clipboard_.text = u"old"_s;
  set(u""_s);
  EXPECT_EQ(clipboard_.text, u""_s);
  EXPECT_EQ(log_.lines(), QStringList{u"[sync] Clipboard updated from client: \"\""_s});
}

TEST_F(ClipboardSyncTest, ignoresASetWithoutAText) {
  clipboard_.text = u"old"_s;
  for (const char* text : {R"({"type":"clipboard_set"})", R"({"type":"clipboard_set","text":5})",
                           R"({"type":"clipboard_set","text":null})", R"({"type":"clipboard_set","text":["a"]})"}) {
    dispatcher_.dataChannelDidReceiveMessage(ControlChannel::reliable, text, false);
  }
  EXPECT_EQ(clipboard_.sets, 0);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardSyncTest, putsOnlyTheNewestOfManyTextsOnASlowClipboard) {
  clipboard_.slow = true;
  for (int i = 0; i < 100; ++i) set(QString::number(i));
  request();
  EXPECT_EQ(clipboard_.sets, 1);
  clipboard_.answer();
  clipboard_.answer();
  EXPECT_EQ(clipboard_.text, u"99"_s);
  EXPECT_EQ(clipboard_.sets, 2);
  outlet_.take();
  clipboard_.answer();
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"99"_s)});
}

// Watching

TEST_F(ClipboardSyncTest, saysWhenTheWatcherStartsAndStops) {
  say({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, true}, {u"req"_s, 1}});
  EXPECT_TRUE(sync_->isClipboardSyncEnabled());
  EXPECT_EQ(log_.lines(), (QStringList{u"[sync] Clipboard monitoring started"_s, u"[sync] Clipboard sync enabled"_s}));
  log_.clear();
  say({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, false}, {u"req"_s, 2}});
  EXPECT_FALSE(sync_->isClipboardSyncEnabled());
  EXPECT_EQ(log_.lines(), (QStringList{u"[sync] Clipboard monitoring stopped"_s, u"[sync] Clipboard sync disabled"_s}));
  EXPECT_EQ(outlet_.take(), (QList<Sent>{{ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 1}}},
                                         {ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 2}}}}));
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(ClipboardSyncTest, ignoresASwitchThatIsNoBoolean) {
  for (const char* text : {R"({"type":"clipboard_sync_enabled"})", R"({"type":"clipboard_sync_enabled","enabled":1})",
                           R"({"type":"clipboard_sync_enabled","enabled":"true"})"}) {
    dispatcher_.dataChannelDidReceiveMessage(ControlChannel::reliable, text, false);
  }
  EXPECT_FALSE(sync_->isClipboardSyncEnabled());
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardSyncTest, sendsNothingWhileItIsOff) {
  clipboard_.copy(u"secret"_s, true);
  scheduler_.advance(1min);
  EXPECT_EQ(clipboard_.reads, 0);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  sync_->startClipboardMonitoring();
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardSyncTest, looksAfterOneSecondAndThenEveryTwo) {
  sync_->setClipboardSyncEnabled(true);
  clipboard_.copy(u"one"_s);
  scheduler_.advance(999ms);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"one"_s)});
  clipboard_.copy(u"two"_s);
  scheduler_.advance(1999ms);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"two"_s)});
  scheduler_.advance(10s);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_EQ(clipboard_.reads, 2) << "read without a change";
}

TEST_F(ClipboardSyncTest, looksSoonerWhenAChangeIsNoticed) {
  watch();
  for (int i = 0; i < 100; ++i) clipboard_.copy(QString::number(i), true);
  scheduler_.advance(100ms);
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"99"_s)});
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.copy(u"again"_s, true);
  scheduler_.advance(100ms);
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"again"_s)});
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
}

TEST_F(ClipboardSyncTest, logsAPreviewOfWhatItSends) {
  watch();
  clipboard_.copy(u"ünïcödé 表 12345678 👩‍👩‍👧👩‍👩‍👧"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(log_.lines(),
            QStringList{
                u"[sync] Clipboard changed, syncing to client: \"ünïcödé 表 12345678 👩‍👩‍👧...\""_s});
  outlet_.take();
  log_.clear();
  clipboard_.copy(u""_s);  // Such as a picture.
  scheduler_.advance(2s);
  EXPECT_EQ(log_.lines(), QStringList{u"[sync] Clipboard changed, syncing to client: \"\""_s});
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u""_s)});
}

TEST_F(ClipboardSyncTest, doesNotSendWhatWasThereBefore) {
  clipboard_.copy(u"before"_s);
  sync_->setClipboardSyncEnabled(true);
  scheduler_.advance(10s);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_EQ(clipboard_.reads, 0);
}

TEST_F(ClipboardSyncTest, doesNotSendBackWhatTheViewerSet) {
  watch();
  set(u"from the viewer"_s);
  outlet_.take();
  log_.clear();
  scheduler_.advance(10s);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardSyncTest, echoesNothingInTenThousandAlternatingCopies) {
  watch();
  int wrong = 0;
  for (int i = 0; i < 10'000; ++i) {
    const QString text = QString::number(i);
    if (i % 2 == 0) {
      set(text);
      scheduler_.advance(2s);
      wrong += outlet_.take().size() != 1;  // The acknowledgement.
    } else {
      clipboard_.copy(text, i % 4 == 1);
      scheduler_.advance(2s);
      wrong += outlet_.take() != QList<Sent>{synced(text)};
    }
    log_.clear();
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(ClipboardSyncTest, echoesNothingOnASlowClipboard) {
  watch();
  clipboard_.slow = true;
  set(u"one"_s);
  outlet_.take();
  scheduler_.advance(10s);  // Not carried out yet: nothing to be seen.
  EXPECT_EQ(clipboard_.waiting.size(), 1U);
  clipboard_.answer();
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
  EXPECT_TRUE(outlet_.sent.isEmpty());
}

TEST_F(ClipboardSyncTest, doesNotSendBackTheViewersTextWhenAClipboardManagerTakesItOver) {
  watch();
  set(u"viewer"_s);
  outlet_.take();
  log_.clear();
  clipboard_.copy(u"viewer"_s, true);
  scheduler_.advance(10s);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
  // Once there was something else it is news again.
  clipboard_.copy(u"person"_s);
  scheduler_.advance(2s);
  clipboard_.copy(u"viewer"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(outlet_.take(), (QList<Sent>{synced(u"person"_s), synced(u"viewer"_s)}));
}

TEST_F(ClipboardSyncTest, sendsACopyThatFollowsTheViewersText) {
  watch();
  clipboard_.slow = true;
  set(u"viewer"_s);
  clipboard_.answer();
  clipboard_.copy(u"person"_s, true);
  outlet_.take();
  scheduler_.advance(2s);
  clipboard_.answer();
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"person"_s)});
}

TEST_F(ClipboardSyncTest, letsTheViewersTextWinOverACopyThatIsStillBeingRead) {
  watch();
  clipboard_.slow = true;
  clipboard_.copy(u"person"_s);
  scheduler_.advance(2s);
  set(u"viewer"_s);
  outlet_.take();
  log_.clear();
  while (clipboard_.answer()) {
  }
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
  EXPECT_TRUE(outlet_.sent.isEmpty());
  EXPECT_TRUE(log_.lines().isEmpty());
  EXPECT_EQ(clipboard_.text, u"viewer"_s);
}

TEST_F(ClipboardSyncTest, doesNotSendACopyThatTheViewersTextReplaced) {
  watch();
  clipboard_.slow = true;
  set(u"one"_s);
  clipboard_.copy(u"person"_s);  // Before the text arrives at the clipboard.
  scheduler_.advance(2s);
  outlet_.take();
  clipboard_.answer();
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
  EXPECT_TRUE(outlet_.sent.isEmpty());
}

TEST_F(ClipboardSyncTest, readsOneAtATimeAndSendsAChangeDuringAReadingLater) {
  watch();
  clipboard_.slow = true;
  clipboard_.copy(u"one"_s);
  scheduler_.advance(20s);
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.copy(u"two"_s);
  scheduler_.advance(20s);
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.answer();
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"two"_s)}) << "the clipboard as it is when it is sent";
  scheduler_.advance(2s);
  clipboard_.answer();
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"two"_s)});
  scheduler_.advance(20s);
  EXPECT_EQ(clipboard_.reads, 2);
}

TEST_F(ClipboardSyncTest, answersARequestAndALookWithOneReading) {
  watch();
  clipboard_.slow = true;
  set(u"x"_s);
  clipboard_.answer();
  set(u"y"_s);
  request();
  clipboard_.copy(u"z"_s);
  clipboard_.slow = false;
  clipboard_.answer();
  outlet_.take();
  clipboard_.copy(u"w"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"w"_s)});
}

TEST_F(ClipboardSyncTest, warnsOnceAndNeverSendsWhatWasCopiedWhileTheChannelWasClosed) {
  watch();
  outlet_.reliable.open = false;
  clipboard_.copy(u"lost"_s);
  scheduler_.advance(10s);
  EXPECT_EQ(log_.lines(), (QStringList{u"[sync] Clipboard changed, syncing to client: \"lost\""_s,
                                       u"[sync] Warning: Data channel not ready"_s}));
  outlet_.reliable.open = true;
  scheduler_.advance(10s);
  EXPECT_TRUE(outlet_.sent.isEmpty());
  outlet_.reliable.exists = false;
  clipboard_.copy(u"lost, too"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(log_.lines().last(), u"[sync] Warning: Data channel not ready"_s);
  outlet_.reliable.exists = true;
  clipboard_.copy(u"seen"_s);
  scheduler_.advance(2s);
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"seen"_s)});
}

TEST_F(ClipboardSyncTest, runsOneTimerHoweverOftenItIsSwitchedOn) {
  for (int i = 0; i < 5; ++i) sync_->setClipboardSyncEnabled(true);
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  clipboard_.copy(u"a"_s);
  scheduler_.advance(1s);
  EXPECT_EQ(outlet_.take(), QList<Sent>{synced(u"a"_s)});
  sync_->setClipboardSyncEnabled(false);
  clipboard_.copy(u"b"_s, true);
  scheduler_.advance(10s);
  EXPECT_TRUE(outlet_.sent.isEmpty());
}

TEST_F(ClipboardSyncTest, sendsNothingThatWasReadBeforeItWasSwitchedOff) {
  watch();
  clipboard_.slow = true;
  clipboard_.copy(u"a"_s);
  scheduler_.advance(2s);
  sync_->setClipboardSyncEnabled(false);
  clipboard_.answer();
  EXPECT_TRUE(outlet_.sent.isEmpty());
  clipboard_.copy(u"b"_s);
  sync_->setClipboardSyncEnabled(true);
  scheduler_.advance(10s);
  EXPECT_FALSE(clipboard_.answer());
}

TEST_F(ClipboardSyncTest, leavesNothingBehind) {
  watch();
  clipboard_.slow = true;
  request();
  set(u"x"_s);
  outlet_.take();
  clipboard_.copy(u"y"_s, true);
  sync_.reset();
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  EXPECT_FALSE(clipboard_.changed);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(outlet_.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
