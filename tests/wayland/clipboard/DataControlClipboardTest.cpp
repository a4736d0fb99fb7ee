#include <gtest/gtest.h>

#include <csignal>

#include "platform/wayland/DataControlClipboard.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/wayland/clipboard/SwayDesktop.h"
#include "tests/wayland/clipboard/WaylandOwner.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace vantora {
namespace {

using testwayland::Manners;
using testwayland::SwayDesktop;
using testwayland::WaylandOwner;

class DataControlClipboardTest : public testing::Test {
 protected:
  DataControlClipboardTest() {
    testloop::ensureApplication();
    std::signal(SIGPIPE, SIG_IGN);
  }
  void begin(std::chrono::milliseconds timeout = 4s) {
    clipboard_ = makeDataControlClipboard(desktop_.socket(), timeout);
    clipboard_->setChangedHandler([this] { ++changes_; });
    clipboard_->setAvailableHandler([this] { ++availabilities_; });
  }
  void beginOnDesktop(std::chrono::milliseconds timeout = 4s) {
    ASSERT_TRUE(desktop_.start());
    begin(timeout);
    ASSERT_TRUE(becomesAvailable());
  }
  [[nodiscard]] bool becomesAvailable(bool wanted = true) {
    return testloop::waitFor([&] { return clipboard_->available() == wanted; });
  }
  QString text() {
    std::optional<ClipboardReading> result;
    clipboard_->requestText([&result](const ClipboardReading& reading) {
      EXPECT_FALSE(result);
      result = reading;
    });
    if (!testloop::waitFor([&] { return result.has_value(); })) return u"(timeout)"_s;
    tooLong_ = result->tooLong;
    return result->text.value_or(u"(none)"_s);
  }
  void set(const QString& wanted) {
    clipboard_->setText(wanted, [this](qint64 count) { stored_.push_back(count); });
  }
  [[nodiscard]] bool settingCompletes(std::size_t count = 1) {
    return testloop::waitFor([&] { return stored_.size() == count; });
  }
  [[nodiscard]] bool changesTo(int count) {
    return testloop::waitFor([&] { return changes_ == count; });
  }

  SwayDesktop desktop_;
  std::unique_ptr<DataControlClipboard> clipboard_;
  int changes_ = 0;
  int availabilities_ = 0;
  std::vector<qint64> stored_;
  qint64 tooLong_ = 0;
};

TEST_F(DataControlClipboardTest, readsWhatAnotherProgramCopies) {
  beginOnDesktop();
  EXPECT_EQ(text(), QString());
  const auto program = desktop_.copy("grüß");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(clipboard_->changeCount(), 1);
  EXPECT_EQ(text(), u"grüß"_s);
  EXPECT_EQ(text(), u"grüß"_s);
}

TEST_F(DataControlClipboardTest, knowsWhatWasCopiedBefore) {
  ASSERT_TRUE(desktop_.start());
  const auto program = desktop_.copy("before");
  ASSERT_TRUE(testloop::waitFor([&] { return desktop_.paste() == "before"; }));
  begin();
  ASSERT_TRUE(becomesAvailable());
  EXPECT_EQ(text(), u"before"_s);
  EXPECT_EQ(clipboard_->changeCount(), 0);
  EXPECT_EQ(changes_, 0);
}

TEST_F(DataControlClipboardTest, offersTheTextThatIsSet) {
  beginOnDesktop();
  set(u"grüß"_s);
  EXPECT_EQ(clipboard_->changeCount(), 0);
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{1});
  EXPECT_EQ(clipboard_->changeCount(), 1);
  EXPECT_EQ(desktop_.paste(), "grüß");
  EXPECT_EQ(desktop_.paste({u"--type"_s, u"STRING"_s}), "gr\xfc\xdf");
  EXPECT_EQ(text(), u"grüß"_s);
  set(u"next"_s);
  ASSERT_TRUE(settingCompletes(2));
  EXPECT_EQ(desktop_.paste(), "next");
  EXPECT_EQ(clipboard_->changeCount(), 2);
  EXPECT_EQ(changes_, 0);
}

TEST_F(DataControlClipboardTest, aCopyEndsTheOwnText) {
  beginOnDesktop();
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  const auto program = desktop_.copy("theirs");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(clipboard_->changeCount(), 2);
  EXPECT_EQ(text(), u"theirs"_s);
  set(u"ours again"_s);
  ASSERT_TRUE(settingCompletes(2));
  EXPECT_EQ(stored_[1], 3);
  EXPECT_EQ(text(), u"ours again"_s);
}

TEST_F(DataControlClipboardTest, theNewestTextIsSet) {
  beginOnDesktop();
  set(u"first"_s);
  set(u"second"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{0});
  ASSERT_TRUE(settingCompletes(2));
  EXPECT_EQ(stored_[1], 1);
  EXPECT_EQ(desktop_.paste(), "second");
}

TEST_F(DataControlClipboardTest, otherContentIsAnEmptyText) {
  beginOnDesktop();
  const auto program = desktop_.copy("<image>", {u"--type"_s, u"image/png"_s});
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), QString());
}

TEST_F(DataControlClipboardTest, ignoresTextThatIsMerelySelected) {
  beginOnDesktop();
  const auto selecting = desktop_.copy("selected", {u"--primary"_s});
  ASSERT_TRUE(testloop::waitFor([&] { return desktop_.paste({u"--primary"_s}) == "selected"; }));
  const auto program = desktop_.copy("copied");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(clipboard_->changeCount(), 1);
  EXPECT_EQ(text(), u"copied"_s);
}

TEST_F(DataControlClipboardTest, theEndOfAnOwnerIsNoChange) {
  beginOnDesktop();
  auto program = desktop_.copy("theirs");
  ASSERT_TRUE(changesTo(1));
  program->kill();
  ASSERT_TRUE(testloop::waitFor([&] { return text() == QString(); }));
  EXPECT_EQ(changes_, 1);
  EXPECT_EQ(clipboard_->changeCount(), 1);
}

TEST_F(DataControlClipboardTest, transfersTheLongestText) {
  beginOnDesktop();
  const QByteArray longest(Clipboard::kMaxTextBytes, 'x');
  set(QString::fromLatin1(longest));
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(desktop_.paste(), longest);
  const auto program = desktop_.copy(longest);
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), QString::fromLatin1(longest));
}

TEST_F(DataControlClipboardTest, measuresATextThatIsTooLong) {
  beginOnDesktop();
  const auto program = desktop_.copy(QByteArray(Clipboard::kMaxTextBytes + 7, 'x'));
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"(none)"_s);
  EXPECT_EQ(tooLong_, Clipboard::kMaxTextBytes + 7);
  set(QString(Clipboard::kMaxTextBytes + 1, u'x'));
  EXPECT_EQ(stored_, std::vector<qint64>{1});
}

TEST_F(DataControlClipboardTest, ownersThatNeverCloseTheirPipeFailTheReadingOnly) {
  beginOnDesktop(300ms);
  int copies = 0;
  for (const Manners manners : {Manners::silent, Manners::partial}) {
    const WaylandOwner owner(desktop_.socket(), manners);
    ASSERT_TRUE(changesTo(++copies));
    EXPECT_EQ(text(), u"(none)"_s);
    EXPECT_EQ(owner.requests(), 1);
  }
  const auto program = desktop_.copy("next");
  ASSERT_TRUE(changesTo(++copies));
  EXPECT_EQ(text(), u"next"_s);
}

TEST_F(DataControlClipboardTest, anEndlessTextIsTooLong) {
  beginOnDesktop();
  const WaylandOwner owner(desktop_.socket(), Manners::endless, {"text/plain", "UTF8_STRING"});
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"(none)"_s);
  EXPECT_GT(tooLong_, Clipboard::kMaxTextBytes);
}

TEST_F(DataControlClipboardTest, isUnavailableWithoutACompositor) {
  begin();
  set(u"ours"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{0});
  EXPECT_EQ(text(), u"(none)"_s);
  EXPECT_FALSE(clipboard_->available());
  ASSERT_TRUE(desktop_.start());
  ASSERT_TRUE(becomesAvailable());
  EXPECT_EQ(availabilities_, 1);
}

TEST_F(DataControlClipboardTest, returnsWithTheCompositor) {
  beginOnDesktop();
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  desktop_.end();
  ASSERT_TRUE(becomesAvailable(false));
  EXPECT_EQ(text(), u"(none)"_s);
  ASSERT_TRUE(desktop_.start());
  ASSERT_TRUE(becomesAvailable());
  EXPECT_EQ(availabilities_, 3);
  EXPECT_EQ(text(), QString());
  const auto program = desktop_.copy("theirs");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"theirs"_s);
}

TEST_F(DataControlClipboardTest, aCompositorThatHangsFailsTheRequestsInTime) {
  beginOnDesktop(300ms);
  const auto program = desktop_.copy("theirs");
  ASSERT_TRUE(changesTo(1));
  desktop_.freeze();
  for (int i = 0; i < 20; ++i) set(QString::number(i));
  EXPECT_EQ(text(), u"(none)"_s);
  ASSERT_TRUE(settingCompletes(20));
  EXPECT_EQ(clipboard_->changeCount(), 1);
  desktop_.thaw();
  ASSERT_TRUE(testloop::waitFor([&] { return text() == u"19"_s; }));
  EXPECT_EQ(clipboard_->changeCount(), 1);
}

TEST_F(DataControlClipboardTest, theEndOfTheCompositorEndsWhatIsPending) {
  beginOnDesktop();
  const WaylandOwner owner(desktop_.socket(), Manners::silent);
  ASSERT_TRUE(changesTo(1));
  int failed = 0;
  clipboard_->requestText([&](const ClipboardReading& reading) { failed += !reading.text; });
  ASSERT_TRUE(testloop::waitFor([&] { return owner.requests() == 1; }));
  desktop_.freeze();
  set(u"ours"_s);
  desktop_.end();
  ASSERT_TRUE(testloop::waitFor([&] { return failed == 1; }));
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{1});
}

TEST_F(DataControlClipboardTest, setsThePrimarySelectionAndTellsWhoReads) {
  beginOnDesktop();
  Clipboard* const primary = clipboard_->primary();
  ASSERT_TRUE(primary);
  int readings = 0;
  int primaryReadings = 0;
  clipboard_->setInterestHandler([&](Clipboard::Interest) { ++readings; });
  primary->setInterestHandler([&](Clipboard::Interest) { ++primaryReadings; });
  set(u"copied"_s);
  primary->setText(u"selected"_s, [this](qint64 count) { stored_.push_back(count); });
  ASSERT_TRUE(settingCompletes(2));
  EXPECT_EQ(readings + primaryReadings, 0);
  EXPECT_EQ(desktop_.paste({u"--primary"_s}), "selected");
  EXPECT_TRUE(testloop::waitFor([&] { return primaryReadings == 1; }));
  EXPECT_EQ(desktop_.paste(), "copied");
  EXPECT_TRUE(testloop::waitFor([&] { return readings == 1; }));
  EXPECT_EQ(primaryReadings, 1);
}

}  // namespace
}  // namespace vantora
