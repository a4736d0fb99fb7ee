#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "platform/ClipboardLoan.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace vantora {
namespace {

class ClipboardLoanTest : public testing::Test {
 protected:
  ClipboardLoanTest() {
    clipboard_.text = u"user's"_s;
    begin(ClipboardLoan::Replaces::text);
  }
  void begin(ClipboardLoan::Replaces replaces) {
    loan_.emplace(clipboard_, scheduler_, replaces);
    loan_->setChangedHandler([this] { ++changes_; });
  }
  void set(const QString& text) {
    loan_->setText(text, [this](qint64 count) { stored_.push_back(count); });
  }
  QString read() {
    std::optional<ClipboardReading> result;
    loan_->requestText([&result](const ClipboardReading& reading) { result = reading; });
    return result && result->text ? *result->text : u"(none)"_s;
  }

  fakes::FakeScheduler scheduler_;
  fakes::FakeClipboard clipboard_;
  std::optional<ClipboardLoan> loan_;
  int changes_ = 0;
  std::vector<qint64> stored_;
};

TEST_F(ClipboardLoanTest, lendsATextUnseen) {
  loan_->lend(u"lent"_s);
  EXPECT_TRUE(loan_->lent());
  EXPECT_EQ(clipboard_.text, u"lent"_s);
  EXPECT_EQ(read(), u"user's"_s);
  loan_->giveBack();
  EXPECT_TRUE(loan_->returned());
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  EXPECT_EQ(read(), u"user's"_s);
  EXPECT_EQ(loan_->changeCount(), 7);
  EXPECT_EQ(changes_, 0);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(ClipboardLoanTest, aLoanRightBehindAnotherSharesItsReturn) {
  loan_->lend(u"one"_s);
  loan_->giveBackAfter(100ms);
  loan_->lend(u"two"_s);
  EXPECT_EQ(clipboard_.text, u"two"_s);
  scheduler_.advance(200ms);
  EXPECT_EQ(clipboard_.text, u"two"_s);
  loan_->giveBackAfter(100ms);
  scheduler_.advance(100ms);
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  EXPECT_EQ(clipboard_.sets, 3);
  EXPECT_EQ(clipboard_.reads, 1);
}

TEST_F(ClipboardLoanTest, theUsersTextIsKeptWhenAnotherIsLentBeforeItIsBack) {
  loan_->lend(u"one"_s);
  clipboard_.slow = true;
  loan_->giveBack();
  loan_->lend(u"two"_s);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(loan_->lent());
  EXPECT_EQ(clipboard_.text, u"two"_s);
  loan_->giveBack();
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  EXPECT_EQ(loan_->changeCount(), 7);
}

TEST_F(ClipboardLoanTest, aNewerCopyStays) {
  loan_->lend(u"lent"_s);
  clipboard_.copy(u"newer"_s, true);
  EXPECT_TRUE(loan_->failed());
  EXPECT_EQ(changes_, 1);
  EXPECT_EQ(loan_->changeCount(), 8);
  EXPECT_EQ(read(), u"newer"_s);
  loan_->giveBack();
  EXPECT_EQ(clipboard_.text, u"newer"_s);
  loan_.reset();
  EXPECT_EQ(clipboard_.text, u"newer"_s);
}

TEST_F(ClipboardLoanTest, aCopyWhileTheUsersTextIsReadIsKept) {
  clipboard_.slow = true;
  loan_->lend(u"lent"_s);
  clipboard_.copy(u"newer"_s, true);
  EXPECT_EQ(changes_, 1);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(loan_->lent());
  clipboard_.slow = false;
  loan_->giveBack();
  EXPECT_EQ(clipboard_.text, u"newer"_s);
}

TEST_F(ClipboardLoanTest, aManagerThatTakesTheTextOverHasNotCopied) {
  loan_->lend(u"lent"_s);
  clipboard_.copy(u"lent"_s, true);
  EXPECT_TRUE(loan_->lent());
  EXPECT_FALSE(loan_->failed());
  EXPECT_EQ(changes_, 0);
  EXPECT_EQ(loan_->changeCount(), 7);
  loan_->giveBack();
  EXPECT_EQ(clipboard_.text, u"user's"_s);
}

TEST_F(ClipboardLoanTest, aManagerThatTakesOverWhatCameBackHasNotCopied) {
  loan_->lend(u"lent"_s);
  loan_->giveBack();
  scheduler_.advance(1s);
  clipboard_.copy(u"user's"_s, true);
  EXPECT_EQ(changes_, 0);
  EXPECT_EQ(loan_->changeCount(), 7);
  // A person copies another text, and the same one later.
  clipboard_.copy(u"newer"_s, true);
  EXPECT_EQ(changes_, 1);
  EXPECT_EQ(loan_->changeCount(), 8);
  loan_->lend(u"lent"_s);
  loan_->giveBack();
  scheduler_.advance(ClipboardLoan::kTakeover + 1ms);
  clipboard_.copy(u"newer"_s, true);
  EXPECT_EQ(changes_, 2);
  EXPECT_EQ(loan_->changeCount(), 9);
}

TEST_F(ClipboardLoanTest, aCopyRightBehindATakeoverIsAChange) {
  loan_->lend(u"lent"_s);
  loan_->giveBack();
  clipboard_.slow = true;
  clipboard_.copy(u"user's"_s, true);
  clipboard_.copy(u"newer"_s, true);
  // The next loan begins before it is known what they were.
  loan_->lend(u"lent again"_s);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(loan_->lent());
  EXPECT_EQ(changes_, 1);
  EXPECT_EQ(loan_->changeCount(), 9);
  EXPECT_EQ(read(), u"newer"_s);
}

TEST_F(ClipboardLoanTest, whatCameBackIsACopyAgainBehindAnotherText) {
  loan_->lend(u"lent"_s);
  loan_->giveBack();
  set(u"viewer's"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{8});
  clipboard_.copy(u"user's"_s, true);
  EXPECT_EQ(changes_, 1);
  EXPECT_EQ(loan_->changeCount(), 9);
}

TEST_F(ClipboardLoanTest, aTextThatIsSetMeanwhileComesBackInsteadAndIsAChange) {
  loan_->lend(u"lent"_s);
  set(u"viewer's"_s);
  EXPECT_EQ(clipboard_.text, u"lent"_s);
  EXPECT_EQ(read(), u"viewer's"_s);
  EXPECT_TRUE(stored_.empty());
  set(u"viewer's newer"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{7});
  loan_->giveBackAfter(100ms);
  EXPECT_EQ(clipboard_.text, u"viewer's newer"_s);
  EXPECT_EQ(stored_, (std::vector<qint64>{7, 8}));
  EXPECT_EQ(loan_->changeCount(), 8);
}

TEST_F(ClipboardLoanTest, aTextThatIsSetAfterACopyReplacesIt) {
  loan_->lend(u"lent"_s);
  clipboard_.slow = true;
  clipboard_.copy(u"newer"_s, true);
  set(u"viewer's"_s);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(loan_->failed());
  EXPECT_TRUE(loan_->returned());
  EXPECT_EQ(clipboard_.text, u"viewer's"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{loan_->changeCount()});
  EXPECT_EQ(changes_, 0);
}

TEST_F(ClipboardLoanTest, aCopyReplacesATextThatWasSetBefore) {
  loan_->lend(u"lent"_s);
  clipboard_.slow = true;
  clipboard_.copy(u"newer"_s, true);
  set(u"viewer's"_s);
  clipboard_.copy(u"newest"_s, true);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(loan_->returned());
  EXPECT_EQ(clipboard_.text, u"newest"_s);
  EXPECT_EQ(changes_, 1);
  EXPECT_EQ(stored_.size(), 1U);
}

TEST_F(ClipboardLoanTest, aTextIsSetAtOnceBehindALoan) {
  loan_->lend(u"lent"_s);
  loan_->giveBackAfter(100ms);
  set(u"viewer's"_s);
  EXPECT_EQ(clipboard_.text, u"viewer's"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{8});
  set(u"again"_s);
  EXPECT_EQ(stored_, (std::vector<qint64>{8, 9}));
}

TEST_F(ClipboardLoanTest, aLoanWaitsForNoTextThatIsBeingSet) {
  clipboard_.slow = true;
  set(u"viewer's"_s);
  loan_->lend(u"lent"_s);
  while (clipboard_.answer()) {
  }
  EXPECT_EQ(clipboard_.text, u"lent"_s);
  loan_->giveBack();
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_EQ(clipboard_.text, u"viewer's"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{loan_->changeCount()});
}

TEST_F(ClipboardLoanTest, aTextThatIsSetWhileTheUsersIsReadEndsNoLoan) {
  clipboard_.slow = true;
  loan_->lend(u"lent"_s);
  set(u"viewer's"_s);
  while (clipboard_.answer()) {
  }
  EXPECT_TRUE(loan_->lent());
  EXPECT_FALSE(loan_->failed());
  EXPECT_EQ(clipboard_.text, u"lent"_s);
  loan_->giveBack();
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_EQ(clipboard_.text, u"viewer's"_s);
  EXPECT_EQ(stored_, std::vector<qint64>{loan_->changeCount()});
}

TEST_F(ClipboardLoanTest, aCopyThatTheLentTextReplacesIsNoChange) {
  clipboard_.slow = true;
  loan_->lend(u"lent"_s);
  EXPECT_TRUE(clipboard_.answer());
  const qint64 before = loan_->changeCount();
  clipboard_.copy(u"too short-lived"_s, true);
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_TRUE(loan_->lent());
  EXPECT_EQ(changes_, 0);
  EXPECT_EQ(loan_->changeCount(), before);
}

TEST_F(ClipboardLoanTest, leavesAnImageAlone) {
  clipboard_.text.clear();
  clipboard_.otherContent = true;
  loan_->lend(u"lent"_s);
  EXPECT_TRUE(loan_->failed());
  EXPECT_TRUE(loan_->returned());
  EXPECT_EQ(clipboard_.sets, 0);
}

TEST_F(ClipboardLoanTest, leavesAConfidentialTextAlone) {
  clipboard_.confidential = true;
  loan_->lend(u"lent"_s);
  EXPECT_TRUE(loan_->failed());
  EXPECT_TRUE(loan_->returned());
  EXPECT_EQ(clipboard_.sets, 0);
}

TEST_F(ClipboardLoanTest, leavesATextAloneThatCannotBeRead) {
  clipboard_.slow = true;
  loan_->lend(u"lent"_s);
  scheduler_.advance(ClipboardLoan::kReadTimeout);
  EXPECT_TRUE(loan_->failed());
  EXPECT_TRUE(loan_->returned());
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_EQ(clipboard_.sets, 0);
}

TEST_F(ClipboardLoanTest, mayReplaceAnything) {
  clipboard_.readable = false;
  begin(ClipboardLoan::Replaces::anything);
  loan_->lend(u"lent"_s);
  EXPECT_TRUE(loan_->lent());
  loan_->giveBack();
  EXPECT_EQ(clipboard_.text, QString());
}

TEST_F(ClipboardLoanTest, givesBackWhatMayStillBeLentAfterATimeout) {
  loan_->lend(u"one"_s);
  clipboard_.slow = true;
  loan_->lend(u"two"_s);
  scheduler_.advance(ClipboardLoan::kSetTimeout);
  EXPECT_TRUE(loan_->failed());
  while (clipboard_.answer()) {
  }
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  EXPECT_TRUE(loan_->returned());
  EXPECT_EQ(loan_->changeCount(), 7);
}

TEST_F(ClipboardLoanTest, givesBackAtItsEnd) {
  loan_->lend(u"lent"_s);
  loan_.reset();
  EXPECT_EQ(clipboard_.text, u"user's"_s);
}

TEST_F(ClipboardLoanTest, countsWhatOthersReadOfALoan) {
  clipboard_.interested(Clipboard::Interest::text);
  EXPECT_EQ(loan_->readings(), 0U);
  loan_->lend(u"lent"_s);
  scheduler_.advance(10ms);
  clipboard_.interested(Clipboard::Interest::text);
  EXPECT_EQ(loan_->readings(), 1U);
  EXPECT_EQ(loan_->lastEvent(), 10ms);
}

}  // namespace
}  // namespace vantora
