#include <gtest/gtest.h>

#include <csignal>

#include "platform/portal/clipboard/PortalClipboard.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/SessionBus.h"
#include "tests/wayland/clipboard/FakeClipboardPortal.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testbus::FakeClipboardPortal;

class PortalClipboardTest : public testing::Test {
 protected:
  PortalClipboardTest() {
    testloop::ensureApplication();
    std::signal(SIGPIPE, SIG_IGN);
  }
  void SetUp() override {
    ASSERT_TRUE(bus_.running());
    portal_ = std::make_unique<FakeClipboardPortal>(bus_.connect());
    begin(std::chrono::seconds(4));
  }
  void begin(std::chrono::milliseconds timeout) {
    clipboard_ = makePortalClipboard(bus_.connect(), FakeClipboardPortal::name(), timeout);
    clipboard_->setChangedHandler([this] { ++changes_; });
    clipboard_->setSession(FakeClipboardPortal::session());
  }

  void read() {
    clipboard_->requestText([this](const ClipboardReading& reading) { readings_.push_back(reading); });
  }
  [[nodiscard]] bool readingCompletes(std::size_t count = 1) {
    return testloop::waitFor([&] { return readings_.size() == count; });
  }
  // The text that is read next; "(none)" when it cannot be read.
  QString text() {
    const std::size_t count = readings_.size() + 1;
    read();
    if (!readingCompletes(count)) return u"(timeout)"_s;
    return readings_.back().text.value_or(u"(none)"_s);
  }
  void set(const QString& text) {
    clipboard_->setText(text, [this](qint64 count) {
      EXPECT_LT(clipboard_->changeCount(), count + 1);
      stored_.push_back(count);
    });
  }
  [[nodiscard]] bool settingCompletes(std::size_t count = 1) {
    return testloop::waitFor([&] { return stored_.size() == count; });
  }
  [[nodiscard]] bool changesTo(int count) {
    return testloop::waitFor([&] { return changes_ == count; });
  }

  testui::SessionBus bus_;
  std::unique_ptr<FakeClipboardPortal> portal_;
  std::unique_ptr<PortalClipboard> clipboard_;
  int changes_ = 0;
  std::vector<qint64> stored_;
  std::vector<ClipboardReading> readings_;
};

TEST_F(PortalClipboardTest, readsWhatAnotherProgramCopies) {
  portal_->copyText("grüß", {u"text/html"_s, u"UTF8_STRING"_s, u"text/plain;charset=utf-8"_s});
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(clipboard_->changeCount(), 1);
  EXPECT_EQ(text(), u"grüß"_s);
  EXPECT_EQ(portal_->readFormats, QStringList(u"text/plain;charset=utf-8"_s));
}

TEST_F(PortalClipboardTest, readsAnEmptyTextFromAClipboardWithoutText) {
  portal_->copyText("<image>", {u"image/png"_s});
  ASSERT_TRUE(changesTo(1));
  std::optional<ClipboardReading> result;
  clipboard_->requestText([&result](const ClipboardReading& reading) { result = reading; });
  ASSERT_TRUE(testloop::waitFor([&] { return result.has_value(); }));
  EXPECT_EQ(result->text, QString());
  EXPECT_TRUE(result->otherContent);
  EXPECT_TRUE(portal_->readFormats.isEmpty());
}

TEST_F(PortalClipboardTest, tellsAConfidentialText) {
  const auto confidential = [this] {
    std::optional<ClipboardReading> result;
    clipboard_->requestText([&result](const ClipboardReading& reading) { result = reading; });
    EXPECT_TRUE(testloop::waitFor([&] { return result.has_value(); }));
    EXPECT_TRUE(result->text.has_value());
    return result->confidential;
  };
  portal_->copyText("secret", {u"text/plain"_s, u"x-kde-passwordManagerHint"_s});
  ASSERT_TRUE(changesTo(1));
  EXPECT_TRUE(confidential());
  portal_->copyText("no secret", {u"text/plain"_s});
  ASSERT_TRUE(changesTo(2));
  EXPECT_FALSE(confidential());
}

TEST_F(PortalClipboardTest, triesTheFormatsWhileThePortalHasNamedNone) {
  portal_->refusedFormats = {u"text/plain;charset=utf-8"_s};
  portal_->hold([](const FileDescriptor& pipe, const QString&) { EXPECT_EQ(::write(pipe.get(), "before", 6), 6); });
  EXPECT_EQ(text(), u"before"_s);
  EXPECT_EQ(portal_->readFormats, QStringList({u"text/plain;charset=utf-8"_s, u"text/plain"_s}));
  portal_->hold({});
  EXPECT_EQ(text(), QString());
}

TEST_F(PortalClipboardTest, aTextThatThePortalRefusesCannotBeRead) {
  portal_->refusedFormats = {u"text/plain"_s};
  portal_->copyText("x");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"(none)"_s);
}

TEST_F(PortalClipboardTest, acceptsFormatsInAStructure) {
  portal_->hold([](const FileDescriptor& pipe, const QString&) { EXPECT_EQ(::write(pipe.get(), "x", 1), 1); });
  QDBusArgument formats;
  formats.beginStructure();
  formats << QStringList(u"TEXT"_s);
  formats.endStructure();
  portal_->signal(u"SelectionOwnerChanged"_s, {QVariantMap{{u"mime_types"_s, QVariant::fromValue(formats)}}},
                  FakeClipboardPortal::session());
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"x"_s);
  EXPECT_EQ(portal_->readFormats, QStringList(u"TEXT"_s));
}

TEST_F(PortalClipboardTest, offersTheTextThatIsSet) {
  std::vector<Clipboard::Interest> interests;
  clipboard_->setInterestHandler([&](Clipboard::Interest interest) { interests.push_back(interest); });
  set(u"grüß"_s);
  EXPECT_EQ(clipboard_->changeCount(), 0);
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{1});
  EXPECT_EQ(clipboard_->changeCount(), 1);
  EXPECT_EQ(changes_, 0);
  EXPECT_TRUE(portal_->offered.contains(u"text/plain;charset=utf-8"_s));
  portal_->paste(u"text/plain"_s, 5);
  portal_->paste(u"STRING"_s, 6);
  portal_->paste(u"image/png"_s, 7);
  ASSERT_TRUE(testloop::waitFor([&] { return portal_->transfers.size() == 3; }));
  EXPECT_EQ(portal_->transfers, (std::map<uint, bool>{{5, true}, {6, true}, {7, false}}));
  EXPECT_EQ(portal_->pasted(5), "grüß");
  EXPECT_EQ(portal_->pasted(6), "gr\xfc\xdf");
  EXPECT_EQ(interests, std::vector(2, Clipboard::Interest::text));
  EXPECT_EQ(text(), u"grüß"_s);
  EXPECT_TRUE(portal_->readFormats.isEmpty());
}

TEST_F(PortalClipboardTest, pastesTheLongestText) {
  set(QString(Clipboard::kMaxTextBytes, u'x'));
  ASSERT_TRUE(settingCompletes());
  portal_->paste(u"text/plain"_s, 1);
  ASSERT_TRUE(testloop::waitFor([&] {
    (void)portal_->pasted(1);
    return portal_->transfers.size() == 1;
  }));
  EXPECT_EQ(portal_->pasted(1).size(), Clipboard::kMaxTextBytes);
}

TEST_F(PortalClipboardTest, refusesToSetATextThatIsTooLong) {
  set(QString(Clipboard::kMaxTextBytes / 2 + 1, u'ü'));
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{0});
  EXPECT_EQ(portal_->selections, 0);
}

TEST_F(PortalClipboardTest, aCopyEndsTheOwnText) {
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  portal_->copyText("theirs");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(clipboard_->changeCount(), 2);
  EXPECT_EQ(text(), u"theirs"_s);
  portal_->paste(u"text/plain"_s, 1);
  ASSERT_TRUE(testloop::waitFor([&] { return !portal_->transfers.empty(); }));
  EXPECT_FALSE(portal_->transfers[1]);
}

TEST_F(PortalClipboardTest, aCopyRightAfterASettingWins) {
  portal_->beforeReply = [this] { portal_->copyText("theirs"); };
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(stored_, std::vector<qint64>{1});
  EXPECT_EQ(clipboard_->changeCount(), 2);
  testloop::drain();
  EXPECT_EQ(text(), u"theirs"_s);
}

TEST_F(PortalClipboardTest, aPortalNeedNotReportTheOwnText) {
  portal_->tellsOwner = false;
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{1});
  EXPECT_EQ(text(), u"ours"_s);
}

TEST_F(PortalClipboardTest, theNewestTextIsSet) {
  set(u"first"_s);
  set(u"second"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{0});
  ASSERT_TRUE(settingCompletes(2));
  EXPECT_EQ(stored_[1], 1);
  EXPECT_EQ(text(), u"second"_s);
  portal_->paste(u"TEXT"_s, 1);
  ASSERT_TRUE(testloop::waitFor([&] { return !portal_->transfers.empty(); }));
  EXPECT_EQ(portal_->pasted(1), "second");
}

TEST_F(PortalClipboardTest, aRefusedTextIsNoChange) {
  portal_->copyText("theirs");
  ASSERT_TRUE(changesTo(1));
  portal_->refusesSelections = true;
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{1});
  EXPECT_EQ(clipboard_->changeCount(), 1);
  EXPECT_EQ(text(), u"theirs"_s);
}

TEST_F(PortalClipboardTest, aPortalThatDoesNotReplyFailsBoth) {
  begin(std::chrono::milliseconds(300));
  portal_->silent = true;
  set(u"ours"_s);
  read();
  ASSERT_TRUE(settingCompletes());
  ASSERT_TRUE(readingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{0});
  EXPECT_FALSE(readings_[0].text);
}

TEST_F(PortalClipboardTest, anOwnerThatNeverClosesItsPipeFailsTheReadingOnly) {
  begin(std::chrono::milliseconds(300));
  std::vector<FileDescriptor> kept;
  portal_->copy({u"text/plain"_s}, [&](FileDescriptor pipe, const QString&) { kept.push_back(std::move(pipe)); });
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"(none)"_s);
  portal_->copyText("next");
  EXPECT_EQ(text(), u"next"_s);
}

TEST_F(PortalClipboardTest, aProgramThatStopsPastingEndsItsTransfer) {
  set(QString(1'000'000, u'x'));
  ASSERT_TRUE(settingCompletes());
  portal_->paste(u"text/plain"_s, 1);
  ASSERT_TRUE(testloop::waitFor([&] { return !portal_->pasted(1).isEmpty(); }));
  portal_->stopPasting();
  ASSERT_TRUE(testloop::waitFor([&] { return !portal_->transfers.empty(); }));
  EXPECT_FALSE(portal_->transfers[1]);
}

TEST_F(PortalClipboardTest, servesALimitedNumberOfTransfers) {
  set(QString(1'000'000, u'x'));
  ASSERT_TRUE(settingCompletes());
  for (uint serial = 0; serial < 20; ++serial) portal_->paste(u"text/plain"_s, serial);
  ASSERT_TRUE(testloop::waitFor([&] { return portal_->transfers.size() == 4; }));
  for (const auto& [serial, whole] : portal_->transfers) EXPECT_FALSE(whole);
}

TEST_F(PortalClipboardTest, nothingWorksWithoutASession) {
  clipboard_->setSession({});
  set(u"ours"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{0});
  EXPECT_EQ(text(), u"(none)"_s);
  EXPECT_EQ(portal_->selections, 0);
}

TEST_F(PortalClipboardTest, theEndOfTheSessionEndsWhatIsPending) {
  portal_->silent = true;
  set(u"ours"_s);
  read();
  read();
  testloop::drain();
  clipboard_->setSession({});
  EXPECT_EQ(stored_, std::vector<qint64>{0});
  ASSERT_TRUE(readingCompletes(2));
  EXPECT_FALSE(readings_[0].text || readings_[1].text);
}

TEST_F(PortalClipboardTest, ignoresOtherSessionsAndMalformedSignals) {
  const auto later = [this] {
    portal_->copyText("later");
    return changesTo(1);
  };
  portal_->copy({u"text/plain"_s}, {}, FakeClipboardPortal::session() + u"x"_s);
  portal_->signal(u"SelectionOwnerChanged"_s, {}, FakeClipboardPortal::session());
  portal_->signal(u"SelectionOwnerChanged"_s, {u"text"_s}, FakeClipboardPortal::session());
  portal_->signal(u"SelectionTransfer"_s, {1U}, FakeClipboardPortal::session());
  portal_->signal(u"SelectionTransfer"_s, {1U, u"text/plain"_s}, FakeClipboardPortal::session());
  ASSERT_TRUE(later());
  EXPECT_EQ(clipboard_->changeCount(), 1);
  EXPECT_TRUE(portal_->transfers.empty());
}

}  // namespace
}  // namespace vantora
