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

  fakes::FakeScheduler scheduler_;
  QList<JsonObject> sent_;
  RemoteClipboard clipboard_{scheduler_, [this](const JsonObject& message) { sent_.append(message); }};
};

TEST_F(RemoteClipboardTest, answersAtOnceWithoutADesktopProcess) {
  std::optional<QString> text;
  std::optional<qint64> count;
  clipboard_.requestText([&](const QString& value) { text = value; });
  clipboard_.setText(u"x"_s, [&](qint64 value) { count = value; });
  EXPECT_EQ(text, u""_s);
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(sent_.isEmpty());
}

TEST_F(RemoteClipboardTest, readsThroughTheDesktopProcess) {
  clipboard_.connected();
  QStringList texts;
  clipboard_.requestText([&](const QString& value) { texts.append(value); });
  ASSERT_EQ(sent_.size(), 1);
  EXPECT_EQ(sent_[0].value(u"type").toString(), u"clipboard_get"_s);
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "text", u"copied"_s));
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "text", u"again"_s));
  scheduler_.advance(60s);
  EXPECT_EQ(texts, QStringList{u"copied"_s});
}

TEST_F(RemoteClipboardTest, givesUpOnAReadThatIsNotAnswered) {
  clipboard_.connected();
  QStringList texts;
  clipboard_.requestText([&](const QString& value) { texts.append(value); });
  scheduler_.advance(5999ms);
  EXPECT_TRUE(texts.isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(texts, QStringList{u""_s});
  clipboard_.take(u"clipboard_text"_s, reply(lastId(), "text", u"late"_s));
  EXPECT_EQ(texts.size(), 1);
}

TEST_F(RemoteClipboardTest, givesUpOnAWriteThatIsNotAnswered) {
  clipboard_.connected();
  int answers = 0;
  clipboard_.setText(u"x"_s, [&](qint64) { ++answers; });
  scheduler_.advance(6000ms);
  EXPECT_EQ(answers, 1);
  clipboard_.take(u"clipboard_stored"_s, reply(lastId(), "count", 1));
  EXPECT_EQ(answers, 1);
}

TEST_F(RemoteClipboardTest, tellsChangesOfOthersAndNotItsOwn) {
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

TEST_F(RemoteClipboardTest, answersWhatWasOpenWhenTheDesktopProcessGoes) {
  clipboard_.connected();
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, 3}});
  std::optional<QString> text;
  std::optional<qint64> count;
  clipboard_.requestText([&](const QString& value) { text = value; });
  clipboard_.setText(u"x"_s, [&](qint64 value) { count = value; });
  clipboard_.disconnected();
  EXPECT_EQ(text, u""_s);
  EXPECT_EQ(count, 3);
}

TEST_F(RemoteClipboardTest, ignoresNonsense) {
  clipboard_.connected();
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, -4}});
  clipboard_.take(u"clipboard_changed"_s, {{u"count"_s, u"7"_s}});
  clipboard_.take(u"clipboard_stored"_s, reply(99, "count", 1));
  clipboard_.take(u"clipboard_text"_s, {});
  clipboard_.take(u"other"_s, {});
  EXPECT_EQ(clipboard_.changeCount(), 1);
}

}  // namespace
}  // namespace vantora
