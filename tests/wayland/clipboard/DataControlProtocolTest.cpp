// Both protocols, and compositors that behave in unusual ways.
#include <gtest/gtest.h>

#include <csignal>

#include "platform/wayland/DataControlClipboard.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/wayland/clipboard/FakeCompositor.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace vantora {
namespace {

using testwayland::FakeCompositor;

class DataControlProtocolTest : public testing::TestWithParam<const DataControlProtocol*> {
 protected:
  DataControlProtocolTest() {
    testloop::ensureApplication();
    std::signal(SIGPIPE, SIG_IGN);
  }
  void SetUp() override {
    compositor_.emplace(*GetParam());
    begin(4s);
  }
  void begin(std::chrono::milliseconds timeout) {
    clipboard_ = makeDataControlClipboard(compositor_->socket(), timeout);
    clipboard_->setChangedHandler([this] { ++changes_; });
    clipboard_->setAvailableHandler([this] { availabilities_.push_back(clipboard_->available()); });
    ASSERT_TRUE(testloop::waitFor([this] { return clipboard_->available(); }));
  }
  QString text() {
    std::optional<ClipboardReading> result;
    clipboard_->requestText([&result](const ClipboardReading& reading) { result = reading; });
    if (!testloop::waitFor([&] { return result.has_value(); })) return u"(timeout)"_s;
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

  std::optional<FakeCompositor> compositor_;
  std::unique_ptr<DataControlClipboard> clipboard_;
  int changes_ = 0;
  std::vector<bool> availabilities_;
  std::vector<qint64> stored_;
};

TEST_P(DataControlProtocolTest, readsAndSetsTexts) {
  EXPECT_EQ(text(), QString());
  compositor_->copy("theirs", {"image/png", "UTF8_STRING", "text/plain"});
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"theirs"_s);
  EXPECT_EQ(compositor_->received, std::vector<QByteArray>{"text/plain"});
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_, std::vector<qint64>{2});
  EXPECT_EQ(text(), u"ours"_s);
  compositor_->copy("theirs again");
  ASSERT_TRUE(changesTo(2));
  EXPECT_EQ(clipboard_->changeCount(), 3);
  EXPECT_EQ(text(), u"theirs again"_s);
}

TEST_P(DataControlProtocolTest, tellsAnImageFromAnEmptyClipboard) {
  const auto other = [this] {
    std::optional<bool> result;
    clipboard_->requestText([&result](const ClipboardReading& reading) { result = reading.otherContent; });
    EXPECT_TRUE(testloop::waitFor([&] { return result.has_value(); }));
    return result;
  };
  EXPECT_EQ(other(), false);
  compositor_->copy("pixels", {"image/png"});
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(other(), true);
}

TEST_P(DataControlProtocolTest, tellsAConfidentialText) {
  const auto confidential = [this] {
    std::optional<ClipboardReading> result;
    clipboard_->requestText([&result](const ClipboardReading& reading) { result = reading; });
    EXPECT_TRUE(testloop::waitFor([&] { return result.has_value(); }));
    EXPECT_TRUE(result->text.has_value());
    return result->confidential;
  };
  EXPECT_FALSE(confidential());
  compositor_->copy("secret", {"text/plain", "x-kde-passwordManagerHint"});
  ASSERT_TRUE(changesTo(1));
  EXPECT_TRUE(confidential());
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  EXPECT_FALSE(confidential());
  compositor_->copy("no secret");
  ASSERT_TRUE(changesTo(2));
  EXPECT_FALSE(confidential());
}

TEST_P(DataControlProtocolTest, offersItsTextToAnotherClient) {
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  std::unique_ptr<DataControlClipboard> other = std::move(clipboard_);
  begin(4s);
  set(u"the other's"_s);
  ASSERT_TRUE(settingCompletes(2));
  ASSERT_TRUE(changesTo(1));
  clipboard_.swap(other);
  EXPECT_EQ(text(), u"the other's"_s);
}

TEST_P(DataControlProtocolTest, ignoresTextThatIsMerelySelected) {
  compositor_->copy("copied");
  compositor_->select("selected");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"copied"_s);
  compositor_->select("selected again");
  compositor_->copy("copied again");
  ASSERT_TRUE(changesTo(2));
  EXPECT_EQ(text(), u"copied again"_s);
  EXPECT_EQ(clipboard_->changeCount(), 2);
}

TEST_P(DataControlProtocolTest, offersWithoutReasonDoNotPileUp) {
  for (int i = 0; i < 20; ++i) {
    compositor_->offerWithoutReason(20);
    EXPECT_TRUE(testloop::waitFor([this] { return compositor_->offers() <= 10; }));
  }
  compositor_->copy("copied");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"copied"_s);
}

TEST_P(DataControlProtocolTest, aTextThatIsNotConfirmedFailsInTime) {
  clipboard_.reset();
  begin(200ms);
  compositor_->confirms = false;
  for (std::size_t i = 1; i <= 3; ++i) {
    set(u"ours"_s);
    ASSERT_TRUE(settingCompletes(i));
  }
  EXPECT_EQ(stored_, std::vector<qint64>(3, 0));
  EXPECT_EQ(clipboard_->changeCount(), 0);
  compositor_->confirms = true;
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes(4));
  EXPECT_EQ(stored_[3], 1);
}

TEST_P(DataControlProtocolTest, connectsAgainAfterTheEndOfItsSeat) {
  compositor_->finish();
  ASSERT_TRUE(testloop::waitFor([this] { return availabilities_ == std::vector{true, false, true}; }));
  compositor_->copy("copied");
  ASSERT_TRUE(changesTo(1));
  EXPECT_EQ(text(), u"copied"_s);
  EXPECT_EQ(compositor_->clients(), 1U);
}

TEST_P(DataControlProtocolTest, connectsAgainAfterAnError) {
  set(u"ours"_s);
  ASSERT_TRUE(settingCompletes());
  compositor_->accuse();
  ASSERT_TRUE(testloop::waitFor([this] { return availabilities_ == std::vector{true, false, true}; }));
  EXPECT_EQ(text(), QString());
}

// Of wlr_data_control from its second version on.
TEST_P(DataControlProtocolTest, hasAPrimarySelection) {
  const bool ext = GetParam() == &DataControlProtocol::ext();
  if (!ext) {
    EXPECT_EQ(clipboard_->primary(), nullptr);
    clipboard_.reset();
    compositor_.reset();
    compositor_.emplace(*GetParam(), 2);
    begin(4s);
  }
  Clipboard* const primary = clipboard_->primary();
  ASSERT_TRUE(primary);
  const auto read = [&] {
    std::optional<QString> result;
    primary->requestText([&result](const ClipboardReading& reading) { result = reading.text.value_or(u"(none)"_s); });
    EXPECT_TRUE(testloop::waitFor([&] { return result.has_value(); }));
    return *result;
  };
  int primaryChanges = 0;
  primary->setChangedHandler([&] { ++primaryChanges; });
  compositor_->copy("copied");
  compositor_->select("selected");
  ASSERT_TRUE(testloop::waitFor([&] { return primaryChanges == 1; }));
  EXPECT_EQ(read(), u"selected"_s);
  primary->setText(u"lent"_s, [this](qint64 count) { stored_.push_back(count); });
  ASSERT_TRUE(settingCompletes());
  EXPECT_EQ(stored_.front(), 2);
  EXPECT_EQ(read(), u"lent"_s);
  EXPECT_EQ(text(), u"copied"_s);
  EXPECT_EQ(primaryChanges, 1);
}

// Compositors may offer the protocol without it, and ignore what is set.
TEST_P(DataControlProtocolTest, noticesThatThereIsNoPrimarySelection) {
  clipboard_.reset();
  compositor_.reset();
  compositor_.emplace(*GetParam(), GetParam() == &DataControlProtocol::ext() ? 1 : 2);
  compositor_->hasPrimary = false;
  begin(4s);
  EXPECT_EQ(clipboard_->primary(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Protocols, DataControlProtocolTest,
                         testing::Values(&DataControlProtocol::ext(), &DataControlProtocol::wlr()),
                         [](const auto& each) { return std::string(each.index == 0 ? "ext" : "wlr"); });

}  // namespace
}  // namespace vantora
