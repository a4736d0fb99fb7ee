#include <gtest/gtest.h>

#include <QStringList>
#include <vector>

#include "platform/portal/TextPaste.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace vantora {
namespace {

using Outcome = TextPaste::Outcome;
using Chord = TextPaste::Chord;

class TextPasteTest : public testing::Test {
 protected:
  TextPasteTest() {
    clipboard_.text = u"user's"_s;
    primary_.text = u"selected"_s;
  }
  bool press(Chord chord) {
    chords_.push_back(chord);
    atChord_.push_back(clipboard_.text);
    if (reader_ != nullptr) reader_->interested(Clipboard::Interest::text);
    return true;
  }
  // Until it is no longer pending, with the time that passes meanwhile.
  Outcome paste(std::u32string_view text) {
    for (;;) {
      const Outcome outcome = paste_.proceed(text);
      if (outcome != Outcome::pending) return outcome;
      scheduler_.advance(10ms);
      if (meanwhile_) meanwhile_();
      if (scheduler_.monotonicNow() > 60s) return outcome;
    }
  }

  fakes::FakeScheduler scheduler_;
  fakes::FakeClipboard clipboard_;
  fakes::FakeClipboard primary_;
  ClipboardLoan clipboardLoan_{clipboard_, scheduler_, ClipboardLoan::Replaces::text};
  ClipboardLoan primaryLoan_{primary_, scheduler_, ClipboardLoan::Replaces::anything};
  fakes::FakeClipboard* reader_ = &clipboard_;  // What the program pastes at once.
  std::vector<Chord> chords_;
  QStringList atChord_;
  bool delivered_ = true;
  int dropped_ = 0;
  std::function<void()> meanwhile_;
  TextPaste paste_{clipboardLoan_,
                   primaryLoan_,
                   scheduler_,
                   {.press = [this](Chord chord) { return press(chord); },
                    .delivered = [this] { return delivered_; },
                    .drop = [this] { ++dropped_; }}};
};

TEST_F(TextPasteTest, pastesAndPutsBackWhatWasThere) {
  EXPECT_EQ(paste(U"é中😀"), Outcome::pasted);
  EXPECT_EQ(chords_, std::vector{Chord::shiftInsert});
  EXPECT_EQ(atChord_, QStringList{u"é中😀"_s});
  EXPECT_EQ(primary_.text, u"é中😀"_s);
  scheduler_.advance(TextPaste::kLinger);
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  EXPECT_EQ(primary_.text, u"selected"_s);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(TextPasteTest, aTerminalPastesThePrimarySelection) {
  reader_ = &primary_;
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
}

TEST_F(TextPasteTest, pressesControlVWithoutAPrimarySelection) {
  primary_.isShared = false;
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
  EXPECT_EQ(chords_, std::vector{Chord::controlV});
  EXPECT_EQ(primary_.sets, 0);
}

TEST_F(TextPasteTest, textsRightBehindEachOtherShareTheReturn) {
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
  EXPECT_EQ(paste(U"ü"), Outcome::pasted);
  EXPECT_EQ(atChord_, (QStringList{u"é"_s, u"ü"_s}));
  EXPECT_EQ(clipboard_.reads, 1);
  EXPECT_EQ(clipboard_.sets, 2);
  scheduler_.advance(TextPaste::kLinger);
  EXPECT_EQ(clipboard_.text, u"user's"_s);
}

TEST_F(TextPasteTest, aClipboardManagerThatReadsAtOnceIsNotTheProgram) {
  reader_ = nullptr;
  meanwhile_ = [this] {
    if (scheduler_.monotonicNow() == 20ms) clipboard_.interested(Clipboard::Interest::text);
  };
  EXPECT_EQ(paste(U"é"), Outcome::notRead);
  EXPECT_EQ(chords_.size(), 1U);
}

TEST_F(TextPasteTest, aBusyProgramFindsTheTextForAWhile) {
  reader_ = nullptr;
  EXPECT_EQ(paste(U"é"), Outcome::notRead);
  EXPECT_EQ(scheduler_.monotonicNow(), TextPaste::kTakeTimeout + 50ms);
  EXPECT_TRUE(paste_.settled());
  EXPECT_EQ(paste(U"ü"), Outcome::impossible);
  scheduler_.advance(TextPaste::kLateReading - 1ms);
  EXPECT_EQ(clipboard_.text, u"é"_s);
  scheduler_.advance(1ms);
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  reader_ = &clipboard_;
  EXPECT_EQ(paste(U"ü"), Outcome::pasted);
}

TEST_F(TextPasteTest, waitsUntilTheDesktopPassesTheTextOn) {
  clipboard_.immediate = primary_.immediate = false;
  meanwhile_ = [this] {
    if (scheduler_.monotonicNow() == 100ms) clipboard_.interested(Clipboard::Interest::formats);
    if (scheduler_.monotonicNow() == 200ms) primary_.interested(Clipboard::Interest::formats);
    EXPECT_TRUE(chords_.empty() || scheduler_.monotonicNow() >= 250ms);
  };
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
  EXPECT_EQ(chords_, std::vector{Chord::shiftInsert});
}

TEST_F(TextPasteTest, pastesNoOtherTextWhereTheDesktopDoesNotPassItOn) {
  clipboard_.immediate = primary_.immediate = false;
  EXPECT_EQ(paste(U"é"), Outcome::impossible);
  EXPECT_TRUE(chords_.empty());
  clipboard_.immediate = true;
  scheduler_.advance(10s);
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
  EXPECT_EQ(chords_, std::vector{Chord::controlV});
}

TEST_F(TextPasteTest, linesThatTheDesktopDoesNotPassOnDelayOnlyTheFirst) {
  clipboard_.immediate = primary_.immediate = false;
  EXPECT_EQ(paste(U"é"), Outcome::impossible);
  const auto first = scheduler_.monotonicNow();
  for (int line = 0; line < 20; ++line) EXPECT_EQ(paste(U"ü"), Outcome::impossible);
  EXPECT_EQ(scheduler_.monotonicNow(), first);
  EXPECT_EQ(clipboard_.text, u"user's"_s);
}

TEST_F(TextPasteTest, aProgramThatReadsAllTheTimeDoesNotDelayForEver) {
  meanwhile_ = [this] {
    if (chords_.empty()) clipboard_.interested(Clipboard::Interest::text);
  };
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
  EXPECT_LE(scheduler_.monotonicNow(), TextPaste::kLendTimeout + TextPaste::kTakeTimeout);
  EXPECT_EQ(atChord_, QStringList{u"é"_s});
  // Not even where the primary selection is not passed on.
  primary_.immediate = false;
  chords_.clear();
  EXPECT_EQ(paste(U"ü"), Outcome::pasted);
  EXPECT_EQ(chords_, std::vector{Chord::controlV});
}

TEST_F(TextPasteTest, waitsForTheKeysBeforeAndForTheChord) {
  delivered_ = false;
  EXPECT_EQ(paste_.proceed(U"é"), Outcome::pending);
  EXPECT_EQ(clipboard_.sets, 0);
  delivered_ = true;
  meanwhile_ = [this] { delivered_ = chords_.empty(); };
  reader_ = nullptr;
  EXPECT_EQ(paste(U"é"), Outcome::notRead);
  EXPECT_EQ(dropped_, 1);
}

TEST_F(TextPasteTest, nothingIsPressedWithoutTheText) {
  clipboard_.text.clear();
  clipboard_.otherContent = true;
  EXPECT_EQ(paste(U"é"), Outcome::impossible);
  EXPECT_TRUE(chords_.empty());
  EXPECT_EQ(primary_.text, u"selected"_s);
  // The next text finds another content.
  clipboard_.otherContent = false;
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
}

TEST_F(TextPasteTest, aClipboardThatDoesNotRespondIsLeftAloneForAWhile) {
  clipboard_.slow = true;
  EXPECT_EQ(paste(U"é"), Outcome::impossible);
  EXPECT_LE(scheduler_.monotonicNow(), ClipboardLoan::kReadTimeout + 10ms);
  EXPECT_EQ(paste(U"é"), Outcome::impossible);
  EXPECT_EQ(clipboard_.reads, 1);
  EXPECT_TRUE(chords_.empty());
}

TEST_F(TextPasteTest, aCopyBeforeTheChordStays) {
  meanwhile_ = [this] {
    if (clipboard_.sets == 1 && clipboard_.text != u"newer"_s) clipboard_.copy(u"newer"_s, true);
  };
  EXPECT_EQ(paste(U"é"), Outcome::impossible);
  EXPECT_TRUE(chords_.empty());
  scheduler_.advance(10s);
  EXPECT_EQ(clipboard_.text, u"newer"_s);
}

TEST_F(TextPasteTest, keysWaitUntilTheUsersTextIsBack) {
  EXPECT_TRUE(paste_.settled());
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
  clipboard_.slow = true;
  EXPECT_FALSE(paste_.settled());
  EXPECT_TRUE(clipboard_.answer());
  EXPECT_TRUE(paste_.settled());
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  EXPECT_EQ(primary_.text, u"selected"_s);
}

TEST_F(TextPasteTest, keysDoNotWaitForEver) {
  EXPECT_EQ(paste(U"é"), Outcome::pasted);
  clipboard_.slow = true;
  EXPECT_FALSE(paste_.settled());
  scheduler_.advance(TextPaste::kReturnTimeout);
  EXPECT_TRUE(paste_.settled());
}

TEST_F(TextPasteTest, aTextThatIsDroppedLeavesNothing) {
  EXPECT_EQ(paste_.proceed(U"é"), Outcome::pending);
  paste_.cancel();
  EXPECT_EQ(clipboard_.text, u"user's"_s);
  EXPECT_EQ(primary_.text, u"selected"_s);
  EXPECT_EQ(paste(U"ü"), Outcome::pasted);
  EXPECT_EQ(atChord_, QStringList{u"ü"_s});
}

}  // namespace
}  // namespace vantora
