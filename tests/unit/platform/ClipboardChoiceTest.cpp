#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "platform/ClipboardChoice.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ClipboardChoiceTest : public testing::Test {
 protected:
  ClipboardChoiceTest() {
    second_.changes = 2;
    choice_->setChangedHandler([this] { ++changes_; });
  }
  void set(const QString& text) {
    choice_->setText(text, [this](qint64 count) { stored_.push_back(count); });
  }
  void read() {
    choice_->requestText([this](const ClipboardReading& reading) { texts_.push_back(reading.text); });
  }
  using Texts = std::vector<std::optional<QString>>;

  fakes::FakeClipboard first_;
  fakes::FakeClipboard second_;
  std::optional<ClipboardChoice> choice_{std::in_place, first_};
  int changes_ = 0;
  std::vector<qint64> stored_;
  Texts texts_;
};

TEST_F(ClipboardChoiceTest, forwardsToTheClipboardInUse) {
  set(u"first"_s);
  EXPECT_EQ(first_.text, u"first"_s);
  choice_->use(second_);
  set(u"second"_s);
  read();
  EXPECT_EQ(first_.text, u"first"_s);
  EXPECT_EQ(second_.text, u"second"_s);
  EXPECT_EQ(texts_, (Texts{u"second"_s}));
}

TEST_F(ClipboardChoiceTest, passesOnTheInterestInTheClipboardInUse) {
  std::vector<Clipboard::Interest> interests;
  choice_->setInterestHandler([&](Clipboard::Interest interest) { interests.push_back(interest); });
  first_.interested(Clipboard::Interest::formats);
  second_.isShared = false;
  EXPECT_TRUE(choice_->shared());
  choice_->use(second_);
  EXPECT_FALSE(choice_->shared());
  EXPECT_FALSE(first_.interested);
  second_.interested(Clipboard::Interest::text);
  EXPECT_EQ(interests, (std::vector{Clipboard::Interest::formats, Clipboard::Interest::text}));
}

TEST_F(ClipboardChoiceTest, theCountContinues) {
  EXPECT_EQ(choice_->changeCount(), 7);
  set(u"a"_s);
  choice_->use(second_);
  EXPECT_EQ(choice_->changeCount(), 8);
  set(u"b"_s);
  second_.copy(u"c"_s);
  EXPECT_EQ(choice_->changeCount(), 10);
  choice_->use(first_);
  EXPECT_EQ(choice_->changeCount(), 10);
  set(u"d"_s);
  EXPECT_EQ(stored_, (std::vector<qint64>{8, 9, 11}));
}

TEST_F(ClipboardChoiceTest, reportsChangesOfTheClipboardInUseOnly) {
  choice_->use(second_);
  EXPECT_EQ(changes_, 0);
  first_.copy(u"unseen"_s, true);
  EXPECT_EQ(choice_->changeCount(), 7);
  second_.copy(u"seen"_s, true);
  EXPECT_EQ(choice_->changeCount(), 8);
  EXPECT_EQ(changes_, 1);
  choice_->setChangedHandler({});
  second_.copy(u"seen"_s, true);
  EXPECT_EQ(changes_, 1);
}

TEST_F(ClipboardChoiceTest, aReplacementFailsWhatIsPendingOnce) {
  first_.slow = true;
  set(u"late"_s);
  read();
  read();
  choice_->use(second_);
  EXPECT_EQ(stored_, std::vector<qint64>{7});
  EXPECT_EQ(texts_, (Texts{std::nullopt, std::nullopt}));
  while (first_.answer()) {
  }
  EXPECT_EQ(stored_.size(), 1U);
  EXPECT_EQ(texts_.size(), 2U);
  EXPECT_EQ(choice_->changeCount(), 7);
}

TEST_F(ClipboardChoiceTest, theSameClipboardIsNoReplacement) {
  first_.slow = true;
  read();
  choice_->use(first_);
  EXPECT_TRUE(texts_.empty());
  first_.answer();
  EXPECT_EQ(texts_, (Texts{QString()}));
}

TEST_F(ClipboardChoiceTest, aFailedRequestMayBeRepeatedAtOnce) {
  first_.slow = true;
  choice_->requestText([this](const ClipboardReading& reading) {
    EXPECT_FALSE(reading.text);
    read();
  });
  second_.text = u"second"_s;
  choice_->use(second_);
  EXPECT_EQ(texts_, (Texts{u"second"_s}));
}

TEST_F(ClipboardChoiceTest, mayEndWithRequestsPending) {
  first_.slow = true;
  set(u"late"_s);
  read();
  choice_.reset();
  while (first_.answer()) {
  }
  first_.copy(u"later"_s, true);
  EXPECT_TRUE(stored_.empty());
  EXPECT_TRUE(texts_.empty());
  EXPECT_EQ(changes_, 0);
}

}  // namespace
}  // namespace vantora
