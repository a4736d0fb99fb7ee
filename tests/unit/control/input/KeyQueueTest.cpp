#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include "main/control/input/KeyQueue.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class KeyQueueTest : public testing::Test {
 protected:
  void type(const QString& text) {
    queue_.type(text, [this](const TypedText& result) { answers_.push_back(result); });
  }
  void tap(std::uint16_t code) {
    queue_.key(code, true, {});
    queue_.key(code, false, {});
  }

  fakes::FakeDesktopInput input_;
  fakes::FakeScheduler scheduler_;
  KeyQueue queue_{input_, scheduler_};
  std::vector<TypedText> answers_;
};

TEST_F(KeyQueueTest, postsKeysAtOnceWhileNoTextIsTyped) {
  queue_.key(KEY_A, true, {.altgr = true});
  EXPECT_EQ(input_.keyActions, (std::vector<fakes::FakeDesktopInput::KeyAction>{{KEY_A, true, {.altgr = true}}}));
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(KeyQueueTest, keysWaitUntilTheDesktopIsReadyForThem) {
  input_.ready = false;
  tap(KEY_A);
  tap(KEY_B);
  scheduler_.advance(100ms);
  EXPECT_TRUE(input_.keyActions.empty());
  EXPECT_GE(input_.readyRequests, 10);
  input_.ready = true;
  scheduler_.advance(5ms);
  ASSERT_EQ(input_.keyActions.size(), 4U);
  EXPECT_EQ(input_.keyActions.front().code, KEY_A);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(KeyQueueTest, textsDoNotWaitForTheDesktopToBeReadyForKeys) {
  input_.ready = false;
  type(u"a"_s);
  type(u"b"_s);
  EXPECT_EQ(input_.typed, U"ab");
  EXPECT_EQ(input_.readyRequests, 0);
}

TEST_F(KeyQueueTest, typesInStepsAndWaitsBetweenThem) {
  type(u"0123456789abcdefghij-"_s);
  EXPECT_EQ(input_.typed, U"0123456789");
  scheduler_.advance(4ms);
  EXPECT_EQ(input_.typed, U"0123456789");
  scheduler_.advance(1ms);
  EXPECT_EQ(input_.typed, U"0123456789abcdefghij");
  EXPECT_TRUE(answers_.empty());
  scheduler_.advance(5ms);
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].typed, 21U);
  EXPECT_EQ(answers_[0].length, 21U);
  EXPECT_EQ(answers_[0].reason, QString());
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(KeyQueueTest, keepsTheOrderOfTextsAndKeys) {
  type(u"0123456789a"_s);
  tap(KEY_X);
  type(u"b"_s);
  tap(KEY_Y);
  EXPECT_TRUE(input_.keyActions.empty());
  EXPECT_EQ(input_.typed, U"0123456789");
  // Also while the next text needs several steps.
  input_.typingStep = 1;
  type(u"cd"_s);
  tap(KEY_Z);
  scheduler_.advance(5ms);
  EXPECT_EQ(input_.typed, U"0123456789abc");
  EXPECT_EQ(input_.keyActions.size(), 4U) << "those before the last text";
  EXPECT_EQ(answers_.size(), 2U);
  scheduler_.advance(5ms);
  EXPECT_EQ(input_.typed, U"0123456789abcd");
  ASSERT_EQ(input_.keyActions.size(), 6U);
  EXPECT_EQ(input_.keyActions[0].code, KEY_X);
  EXPECT_EQ(input_.keyActions[2].code, KEY_Y);
  EXPECT_EQ(input_.keyActions[4].code, KEY_Z);
  EXPECT_EQ(answers_.size(), 3U);
}

TEST_F(KeyQueueTest, takesLineEndsAsOneAndSkipsOtherControlCharacters) {
  type(u"a\r\nb\nc\td\re\u0000\u001b\u007f\u009ff"_s);
  scheduler_.advance(1s);
  EXPECT_EQ(input_.typed, U"a\nb\nc\tdef");
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].typed, 9U);
  EXPECT_EQ(answers_[0].length, 14U);
}

TEST_F(KeyQueueTest, skipsUnpairedSurrogates) {
  type(u"a"_s + QChar(0xd800) + u"b"_s + QChar(0xdc00) + u"\U0001F600"_s + QChar(0xdbff));
  EXPECT_EQ(input_.typed, U"ab\U0001F600");
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].typed, 3U);
  EXPECT_EQ(answers_[0].length, 6U);
}

TEST_F(KeyQueueTest, refusesTextsBeyondTheBound) {
  for (std::size_t texts = 0; texts <= KeyQueue::kMaxTexts; ++texts) type(u"0123456789a"_s);
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].typed, 0U);
  EXPECT_EQ(answers_[0].length, 11U);
  EXPECT_EQ(answers_[0].reason, u"too many"_s);
  scheduler_.advance(60s);
  EXPECT_EQ(answers_.size(), KeyQueue::kMaxTexts + 1);
  type(u"a"_s);
  EXPECT_EQ(answers_.back().typed, 1U);
}

TEST_F(KeyQueueTest, keepsKeyStrokesThatAreSentAsTexts) {
  type(u"0123456789a"_s);
  for (int stroke = 0; stroke < 100; ++stroke) type(u"b"_s);
  scheduler_.advance(60s);
  EXPECT_EQ(input_.typed.size(), 111U);
  EXPECT_EQ(answers_.size(), 101U);
}

TEST_F(KeyQueueTest, refusesMoreCharactersThanMayWait) {
  const QString longest(static_cast<qsizetype>(KeyQueue::kMaxTextLength), u'a');
  for (std::size_t waiting = 0; waiting < KeyQueue::kMaxWaitingLength; waiting += KeyQueue::kMaxTextLength)
    type(longest);
  EXPECT_TRUE(answers_.empty());
  type(u"b"_s);
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].reason, u"too many"_s);
  queue_.releaseAll();
  answers_.clear();
  type(u"b"_s);
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].typed, 1U);
}

TEST_F(KeyQueueTest, keepsABoundedNumberOfKeysAndTheReleasesOfHeldOnes) {
  queue_.key(KEY_A, true, {});
  type(u"0123456789a"_s);
  for (std::size_t pressed = 0; pressed < KeyQueue::kMaxWaitingKeys; ++pressed) queue_.key(KEY_B, true, {});
  for (int again = 0; again < 100; ++again) {
    queue_.key(KEY_C, true, {});
    queue_.key(KEY_C, false, {});
    queue_.key(KEY_A, false, {});
    queue_.key(KEY_B, false, {});
  }
  scheduler_.advance(60s);
  EXPECT_EQ(input_.keyActions.size(), 1 + KeyQueue::kMaxWaitingKeys + 2);
  EXPECT_TRUE(input_.heldKeys.empty());
}

TEST_F(KeyQueueTest, theEndOfControlCancelsWhatWaits) {
  type(u"0123456789a"_s);
  tap(KEY_X);
  type(u"b"_s);
  queue_.releaseAll();
  EXPECT_EQ(input_.releases, 1);
  scheduler_.advance(60s);
  EXPECT_EQ(input_.typed, U"0123456789");
  EXPECT_TRUE(input_.keyActions.empty());
  ASSERT_EQ(answers_.size(), 2U);
  EXPECT_EQ(answers_[0].typed, 10U);
  EXPECT_EQ(answers_[1].typed, 0U);
  for (const TypedText& answer : answers_) EXPECT_EQ(answer.reason, u"control ended"_s);
  tap(KEY_X);
  EXPECT_EQ(input_.keyActions.size(), 2U);
}

TEST_F(KeyQueueTest, aLostDesktopEndsTheText) {
  type(u"0123456789a"_s);
  input_.setUsable(false);
  scheduler_.advance(60s);
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].typed, 10U);
  EXPECT_EQ(answers_[0].reason, u"desktop unavailable"_s);
}

TEST_F(KeyQueueTest, aDesktopThatTakesNothingAtOnceIsAskedAgain) {
  input_.typingStep = 0;
  type(u"abc"_s);
  scheduler_.advance(100ms);
  EXPECT_TRUE(input_.typed.empty() && answers_.empty());
  input_.typingStep = 10;
  scheduler_.advance(5ms);
  EXPECT_EQ(input_.typed, U"abc");
  EXPECT_EQ(answers_.size(), 1U);
}

}  // namespace
}  // namespace vantora
