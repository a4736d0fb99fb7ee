#include <gtest/gtest.h>

#include "main/desktop/RemoteClipboard.h"
#include "tests/fakes/FakeScheduler.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

class RemoteClipboardTest : public testing::Test {
 protected:
  JsonObject reply(qint64 id, const char* key, const QJsonValue& value) {
    return {{u"id"_s, id}, {QString::fromLatin1(key), value}};
  }
  qint64 lastId() const { return sent_.last().value(u"id").toInteger(); }

  static inline const QString kFailed = u"(failed)"_s;
  // Requests to the desktop process, with the text to set.
  QStringList asked() {
    QStringList list;
    for (const JsonObject& message : std::exchange(sent_, {})) {
      list.append((message.value(u"type").toString() + u' ' + message.value(u"text").toString()).trimmed());
      id_ = message.value(u"id").toInteger();
    }
    return list;
  }
  // Confirms the last request that asked() returned.
  void stores(qint64 count) { clipboard_.take(u"clipboard_stored"_s, reply(id_, "count", count)); }
  void reads(const QString& text) { clipboard_.take(u"clipboard_text"_s, reply(id_, "text", text)); }
  // A desktop process has put `text` on the clipboard and ended.
  void setAndDisconnect(const QString& text) {
    clipboard_.connected();
    clipboard_.setText(text, [](qint64) {});
    asked();
    stores(1);
    clipboard_.setChangedHandler([this] { ++changes_; });
    clipboard_.disconnected();
  }

  fakes::FakeScheduler scheduler_;
  int changes_ = 0;
  qint64 id_ = 0;
  QList<JsonObject> sent_;
  RemoteClipboard clipboard_{scheduler_, [this](const JsonObject& message) { sent_.append(message); }};
};

TEST_F(RemoteClipboardTest, failsToReadWithoutADesktopProcess) {
  QStringList texts;
  clipboard_.requestText([&](const ClipboardReading& value) { texts.append(value.text.value_or(kFailed)); });
  EXPECT_EQ(texts, QStringList{kFailed});
  EXPECT_TRUE(sent_.isEmpty());
}

TEST_F(RemoteClipboardTest, setsTheNewestTextOnceThereIsADesktopProcess) {
  QList<qint64> counts;
  clipboard_.setText(u"old"_s, [&](qint64 count) { counts.append(count); });
  EXPECT_TRUE(counts.isEmpty());
  clipboard_.setText(u"new"_s, [&](qint64 count) { counts.append(count); });
  EXPECT_EQ(counts, QList<qint64>{0});
  EXPECT_TRUE(sent_.isEmpty());
  std::optional<QString> text;
  clipboard_.requestText([&](const ClipboardReading& value) { text = value.text; });
  EXPECT_EQ(text, u"new"_s);
  clipboard_.connected();
  EXPECT_EQ(asked(), QStringList{u"clipboard_set new"_s});
  stores(1);
  EXPECT_EQ(counts, (QList<qint64>{0, 1}));
  scheduler_.advance(60s);
  EXPECT_EQ(counts.size(), 2);
}

TEST_F(RemoteClipboardTest, countsATextThatArrivesLateAsNoChange) {
  clipboard_.setChangedHandler([this] { ++changes_; });
  QList<qint64> counts;
  clipboard_.setText(u"x"_s, [&](qint64 count) { counts.append(count); });
  scheduler_.advance(30s);
  EXPECT_EQ(counts, QList<qint64>{0});
  clipboard_.connected();
  EXPECT_EQ(asked(), QStringList{u"clipboard_set x"_s});
  stores(1);
  EXPECT_EQ(counts.size(), 1);
  EXPECT_EQ(clipboard_.changeCount(), 0);
  EXPECT_EQ(changes_, 0);
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 2}});
  EXPECT_EQ(clipboard_.changeCount(), 1);
  EXPECT_EQ(changes_, 1);
}

TEST_F(RemoteClipboardTest, setsATextAgainWhoseDesktopProcessEndedBeforeItWasStored) {
  clipboard_.connected();
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 3}});
  std::optional<qint64> count;
  clipboard_.setText(u"x"_s, [&](qint64 value) { count = value; });
  clipboard_.disconnected();
  EXPECT_FALSE(count);
  asked();
  clipboard_.connected();
  EXPECT_EQ(asked(), QStringList{u"clipboard_set x"_s});
  stores(1);
  EXPECT_EQ(count, 4);
  EXPECT_EQ(clipboard_.changeCount(), 4);
}

TEST_F(RemoteClipboardTest, hasOnlyOneTextInTheConnectionToASlowProcess) {
  clipboard_.connected();
  QList<qint64> counts;
  for (int i = 0; i < 5; ++i) {
    clipboard_.setText(QString::number(i), [&](qint64 count) { counts.append(count); });
  }
  EXPECT_EQ(asked(), QStringList{u"clipboard_set 0"_s});
  stores(1);
  EXPECT_EQ(asked(), QStringList{u"clipboard_set 4"_s});
  stores(2);
  EXPECT_TRUE(sent_.isEmpty());
  EXPECT_EQ(counts.size(), 5);
  clipboard_.setText(u"next"_s, [](qint64) {});
  EXPECT_EQ(asked(), QStringList{u"clipboard_set next"_s});
  clipboard_.disconnected();
  clipboard_.connected();
  EXPECT_EQ(asked(), QStringList{u"clipboard_set next"_s});
}

// Between two desktop processes

TEST_F(RemoteClipboardTest, detectsACopyThatWasMadeBetweenTwoDesktopProcesses) {
  setAndDisconnect(u"viewer"_s);
  clipboard_.connected();
  EXPECT_EQ(asked(), QStringList{u"clipboard_get"_s});
  reads(u"person"_s);
  EXPECT_EQ(changes_, 1);
  EXPECT_EQ(clipboard_.changeCount(), 2);
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 1}});
  EXPECT_EQ(clipboard_.changeCount(), 3);
}

TEST_F(RemoteClipboardTest, countsAChangeWhenItCannotTellWhatWasCopiedMeanwhile) {
  setAndDisconnect(u"viewer"_s);
  clipboard_.connected();
  scheduler_.advance(6s);
  EXPECT_EQ(changes_, 1);
  clipboard_.disconnected();
  clipboard_.connected();
  clipboard_.disconnected();  // Before the reply.
  EXPECT_EQ(changes_, 1);
}

TEST_F(RemoteClipboardTest, restoresTheTextThatWasLostWithItsDesktopProcess) {
  setAndDisconnect(u"viewer"_s);
  clipboard_.connected();
  asked();
  reads(u""_s);
  EXPECT_EQ(asked(), QStringList{u"clipboard_set viewer"_s});
  stores(1);
  EXPECT_EQ(changes_, 0);
  EXPECT_EQ(clipboard_.changeCount(), 1);
}

TEST_F(RemoteClipboardTest, countsNoChangeWhenAnotherProgramKeptTheText) {
  setAndDisconnect(u"viewer"_s);
  clipboard_.connected();
  asked();
  reads(u"viewer"_s);
  EXPECT_TRUE(sent_.isEmpty());
  EXPECT_EQ(changes_, 0);
}

TEST_F(RemoteClipboardTest, restoresNoTextThatAnotherProgramHadReplaced) {
  clipboard_.connected();
  clipboard_.setText(u"viewer"_s, [](qint64) {});
  asked();
  stores(1);
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 2}});
  clipboard_.disconnected();
  clipboard_.connected();
  asked();
  clipboard_.setChangedHandler([this] { ++changes_; });
  reads(u""_s);
  EXPECT_TRUE(sent_.isEmpty());
  EXPECT_EQ(changes_, 1);
}

TEST_F(RemoteClipboardTest, asksTheFirstDesktopProcessForNothing) {
  clipboard_.connected();
  EXPECT_TRUE(sent_.isEmpty());
}

TEST_F(RemoteClipboardTest, prefersATextThatIsSetWhileItChecksForCopies) {
  setAndDisconnect(u"old"_s);
  clipboard_.connected();
  asked();
  const qint64 looking = id_;
  clipboard_.setText(u"new"_s, [](qint64) {});
  EXPECT_EQ(asked(), QStringList{u"clipboard_set new"_s});
  clipboard_.take(u"clipboard_text"_s, reply(looking, "text", u""_s));
  EXPECT_TRUE(sent_.isEmpty());
  EXPECT_EQ(changes_, 0);
}

TEST_F(RemoteClipboardTest, readsThroughTheDesktopProcess) {
  clipboard_.connected();
  QStringList texts;
  clipboard_.requestText([&](const ClipboardReading& value) { texts.append(value.text.value_or(kFailed)); });
  ASSERT_EQ(sent_.size(), 1);
  EXPECT_EQ(sent_[0].value(u"type").toString(), u"clipboard_get"_s);
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "text", u"copied"_s));
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "text", u"again"_s));
  scheduler_.advance(60s);
  EXPECT_EQ(texts, QStringList{u"copied"_s});
}

TEST_F(RemoteClipboardTest, failsAReadThatIsNotAnswered) {
  clipboard_.connected();
  QStringList texts;
  clipboard_.requestText([&](const ClipboardReading& value) { texts.append(value.text.value_or(kFailed)); });
  scheduler_.advance(5999ms);
  EXPECT_TRUE(texts.isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(texts, QStringList{kFailed});
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "text", u"late"_s));
  EXPECT_EQ(texts.size(), 1);
}

TEST_F(RemoteClipboardTest, tellsAReadingThatFailedFromAnEmptyOne) {
  clipboard_.connected();
  QStringList texts;
  const auto note = [&](const ClipboardReading& value) { texts.append(value.text.value_or(kFailed)); };
  clipboard_.requestText(note);
  clipboard_.take(u"clipboard_text"_s, {{u"id"_s, lastId()}});
  clipboard_.requestText(note);
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "text", u""_s));
  EXPECT_EQ(texts, (QStringList{kFailed, u""_s}));
}

TEST_F(RemoteClipboardTest, passesOnHowLongATextIsThatIsTooLong) {
  clipboard_.connected();
  ClipboardReading got{.text = u"none yet"_s};
  clipboard_.requestText([&](const ClipboardReading& reading) { got = reading; });
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "too_long", 12'000'000));
  EXPECT_EQ(got.text, std::nullopt);
  EXPECT_EQ(got.tooLong, 12'000'000);
}

TEST_F(RemoteClipboardTest, endsAWriteThatIsNotAnswered) {
  clipboard_.connected();
  int answers = 0;
  clipboard_.setText(u"x"_s, [&](qint64) { ++answers; });
  scheduler_.advance(6000ms);
  EXPECT_EQ(answers, 1);
  clipboard_.take(u"clipboard_stored"_s, reply(lastId(), "count", 1));
  EXPECT_EQ(answers, 1);
}

TEST_F(RemoteClipboardTest, reportsChangesOfOthersAndNotItsOwn) {
  clipboard_.connected();
  int changes = 0;
  clipboard_.setChangedHandler([&] { ++changes; });
  std::optional<qint64> stored;
  clipboard_.setText(u"x"_s, [&](qint64 count) { stored = count; });
  EXPECT_EQ(sent_[0].value(u"text").toString(), u"x"_s);
  clipboard_.take(u"clipboard_stored"_s, reply(lastId(), "count", 1));
  EXPECT_EQ(stored, 1);
  EXPECT_EQ(clipboard_.changeCount(), 1);
  EXPECT_EQ(changes, 0);
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 2}});
  EXPECT_EQ(clipboard_.changeCount(), 2);
  EXPECT_EQ(changes, 1);
}

TEST_F(RemoteClipboardTest, countsOnAcrossDesktopProcesses) {
  clipboard_.connected();
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 7}});
  clipboard_.disconnected();
  clipboard_.connected();
  EXPECT_EQ(clipboard_.changeCount(), 7);
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 1}});
  EXPECT_EQ(clipboard_.changeCount(), 8);
}

TEST_F(RemoteClipboardTest, answersReadersWhenTheDesktopProcessGoes) {
  clipboard_.connected();
  QStringList texts;
  clipboard_.requestText([&](const ClipboardReading& value) { texts.append(value.text.value_or(kFailed)); });
  clipboard_.disconnected();
  EXPECT_EQ(texts, QStringList{kFailed});
}

TEST_F(RemoteClipboardTest, ignoresMalformedMessages) {
  clipboard_.connected();
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, -4}});
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, u"7"_s}});
  clipboard_.take(u"clipboard_stored"_s, reply(99, "count", 1));
  clipboard_.take(u"clipboard_text"_s, {});
  clipboard_.take(u"other"_s, {});
  EXPECT_EQ(clipboard_.changeCount(), 0);
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 1}});
  EXPECT_EQ(clipboard_.changeCount(), 1);
}

TEST_F(RemoteClipboardTest, tellsWhetherOtherProgramsSeeIt) {
  EXPECT_FALSE(clipboard_.shared());
  clipboard_.connected(false);
  EXPECT_FALSE(clipboard_.shared());
  clipboard_.disconnected();
  clipboard_.connected(true);
  EXPECT_TRUE(clipboard_.shared());
  clipboard_.disconnected();
  EXPECT_FALSE(clipboard_.shared());
}

TEST_F(RemoteClipboardTest, tellsOfInterestInItsText) {
  clipboard_.connected();
  clipboard_.take(u"clipboard_taken"_s, {});
  std::vector<Clipboard::Interest> interests;
  clipboard_.setInterestHandler([&](Clipboard::Interest interest) { interests.push_back(interest); });
  clipboard_.take(u"clipboard_offered"_s, {});
  clipboard_.take(u"clipboard_taken"_s, {});
  clipboard_.take(u"primary_taken"_s, {});
  EXPECT_EQ(interests, (std::vector{Clipboard::Interest::formats, Clipboard::Interest::text}));
}

TEST_F(RemoteClipboardTest, readsAContentThatIsNoText) {
  clipboard_.connected();
  bool other = false;
  clipboard_.requestText([&](const ClipboardReading& reading) { other = reading.otherContent; });
  clipboard_.take(u"clipboard_text"_s, {{u"id"_s, lastId()}, {u"text"_s, QString()}, {u"other"_s, true}});
  EXPECT_TRUE(other);
}

TEST_F(RemoteClipboardTest, readsThePrimarySelectionOfANewProcessOnlyForItsOwnText) {
  RemoteClipboard primary(
      scheduler_, [this](const JsonObject& message) { sent_.append(message); },
      RemoteClipboard::Content::primarySelection);
  primary.connected();
  primary.disconnected();
  primary.connected();
  EXPECT_TRUE(asked().isEmpty());
  primary.setText(u"lent"_s, [](qint64) {});
  EXPECT_EQ(asked(), QStringList{u"primary_set lent"_s});
  primary.take(u"primary_stored"_s, reply(id_, "count", 1));
  primary.disconnected();
  primary.connected();
  EXPECT_EQ(asked(), QStringList{u"primary_get"_s});
}

}  // namespace
}  // namespace vantora
