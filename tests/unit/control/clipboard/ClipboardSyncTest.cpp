// The viewer's requests and texts.
#include "tests/unit/control/clipboard/ClipboardSyncFixture.h"

namespace vantora {
namespace {

class ClipboardSyncTest : public ClipboardSyncFixture {};

// Requests

TEST_F(ClipboardSyncTest, answersARequestOnItsChannelWithoutAcknowledgement) {
  clipboard_.text = u"grün\n表"_s;
  request(ControlChannel::control);
  request(ControlChannel::reliable);
  EXPECT_EQ(sender_.take(), (QList<Sent>{synced(u"grün\n表"_s, ControlChannel::control), synced(u"grün\n表"_s)}));
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(ClipboardSyncTest, answersWithTheEmptyTextWhenThereIsNone) {
  request();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u""_s)});
}

TEST_F(ClipboardSyncTest, answersWhenTheTextArrives) {
  clipboard_.slow = true;
  clipboard_.text = u"late"_s;
  request();
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"late"_s)});
}

TEST_F(ClipboardSyncTest, answersNobodyElseThanWhoAsked) {
  clipboard_.slow = true;
  request();
  sender_.connectionNumber = 2;
  clipboard_.answer();
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(ClipboardSyncTest, answersAllWhoAskedMeanwhileWithOneReading) {
  clipboard_.slow = true;
  clipboard_.text = u"old"_s;
  request();
  for (int i = 0; i < 5; ++i) request();
  EXPECT_EQ(clipboard_.reads, 1);
  clipboard_.answer();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"old"_s)});
  clipboard_.text = u"new"_s;
  clipboard_.answer();
  EXPECT_EQ(sender_.take(), QList<Sent>(5, synced(u"new"_s)));
  EXPECT_EQ(clipboard_.reads, 2);
  EXPECT_FALSE(clipboard_.answer());
}

TEST_F(ClipboardSyncTest, remembersABoundedNumberOfRequests) {
  clipboard_.slow = true;
  for (int i = 0; i < 10'000; ++i) request();
  clipboard_.answer();
  clipboard_.answer();
  EXPECT_EQ(sender_.sent.size(), 1 + ClipboardSync::kMaxWaitingRequests);
}

// Texts from the viewer

TEST_F(ClipboardSyncTest, setsLogsAndAcknowledges) {
  say({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, u"abcdefghijklmnopqrstuvwxy"_s}, {u"req"_s, 5}});
  EXPECT_EQ(clipboard_.text, u"abcdefghijklmnopqrstuvwxy"_s);
  EXPECT_EQ(log_.lines(), QStringList{u"[sync] Clipboard updated from client: \"abcdefghijklmnopqrst...\""_s});
  EXPECT_EQ(sender_.take(), (QList<Sent>{{ControlChannel::reliable, {{u"type"_s, u"ack"_s}, {u"req"_s, 5}}}}));
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
  EXPECT_TRUE(sender_.sent.isEmpty());
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
  sender_.take();
  clipboard_.answer();
  EXPECT_EQ(sender_.take(), QList<Sent>{synced(u"99"_s)});
}

}  // namespace
}  // namespace vantora
