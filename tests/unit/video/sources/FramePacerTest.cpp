#include <gtest/gtest.h>

#include <vector>

#include "main/video/sources/FramePacer.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using Time = FramePacer::Time;
using Action = FramePacer::Action;

// Lives through time with a pacer: the display changes at the given times, and every frame sent is
// noted. `lateness` is how much later than asked the thread wakes.
class Life {
 public:
  explicit Life(int fps, Time lateness = 0ns) : pacer(fps), lateness_(lateness) {}

  // The display changes at `first` and then every `period`, `count` times.
  void changes(Time first, Time period, int count) {
    for (int i = 0; i < count; ++i) changes_.push_back(first + i * period);
  }

  void runUntil(Time end) {
    while (now < end) {
      const FramePacer::Step step = pacer.next(now);
      if (step.action == Action::look) {
        look();
      } else if (step.action == Action::repeat) {
        repeats.push_back(now);
        frames.push_back(now);
        pacer.sentRepeat(now);
      } else {
        sleep(step, end);
      }
    }
  }

  FramePacer pacer;
  Time now = 1000s;
  std::vector<Time> frames;
  std::vector<Time> repeats;
  int looks = 0;

 private:
  void look() {
    ++looks;
    bool changed = frames.empty();
    while (next_ < changes_.size() && changes_[next_] <= now) {
      changed = true;
      ++next_;
    }
    if (changed) {
      frames.push_back(now);
      pacer.sentChange(now);
    } else {
      pacer.sawNothing(now);
    }
  }

  void sleep(const FramePacer::Step& step, Time end) {
    const bool change = step.wakeOnChange && next_ < changes_.size() && changes_[next_] <= std::min(step.until, end);
    Time wakeUp = change ? std::max(now, changes_[next_]) : std::min(step.until, end);
    if (wakeUp < end) wakeUp += lateness_;
    now = wakeUp;
    if (change) pacer.changeSeen();
  }

  std::vector<Time> changes_;
  std::size_t next_ = 0;
  Time lateness_;
};

TEST(FramePacer, looksAtOnceWhenItBegins) { EXPECT_EQ(FramePacer(30).next(5s).action, Action::look); }

TEST(FramePacer, waitsForAChangeWhileThereIsNoPictureToRepeat) {
  FramePacer pacer(30);
  pacer.sawNothing(5s);
  EXPECT_EQ(pacer.next(6s), (FramePacer::Step{Action::wait, FramePacer::kForever, true}));
}

TEST(FramePacer, sendsAStillScreenAboutOnceASecond) {
  Life life(60);
  life.runUntil(1011s + 500ms);
  // The first picture, its sharpening, and then one a second.
  EXPECT_EQ(life.frames.size(), 1u + FramePacer::kBurstLength + 9u);
  for (std::size_t i = 1 + FramePacer::kBurstLength; i < life.frames.size(); ++i) {
    EXPECT_EQ(life.frames[i] - life.frames[i - 1], 1s);
  }
}

TEST(FramePacer, neverReadsAStillScreenAgain) {
  Life life(60);
  life.runUntil(1010s);
  EXPECT_EQ(life.looks, 1);
}

TEST(FramePacer, sends30FramesASecondOf120Changes) {
  Life life(30);
  life.changes(1000s, 8333333ns, 1200);
  life.runUntil(1010s);
  EXPECT_NEAR(static_cast<double>(life.frames.size()), 300, 1);
  EXPECT_TRUE(life.repeats.empty());
}

TEST(FramePacer, keepsTheRateWhenTheThreadWakesLate) {
  Life life(60, 2ms);
  life.changes(1000s, 1ms, 10000);
  life.runUntil(1010s);
  EXPECT_GE(life.frames.size(), 595u);
  EXPECT_LE(life.frames.size(), 601u);
}

TEST(FramePacer, keepsFramesApartAfterAPause) {
  FramePacer pacer(10);
  pacer.sentChange(1000s);
  pacer.changeSeen();
  pacer.sentChange(1005s);
  pacer.changeSeen();
  EXPECT_EQ(pacer.next(1005s), (FramePacer::Step{Action::wait, 1005s + 100ms, false}));
}

TEST(FramePacer, sendsASingleChangeAtOnceThenSharpensItThenOnceASecond) {
  Life life(60);
  life.changes(1003s + 300ms, 0s, 1);
  life.runUntil(1007s + 500ms);
  const Time change = 1003s + 300ms;
  std::vector<Time> after;
  for (const Time frame : life.frames) {
    if (frame >= change) after.push_back(frame - change);
  }
  std::vector<Time> wanted;
  for (Time at = 0ms; at <= 2000ms; at += 100ms) wanted.push_back(at);
  wanted.insert(wanted.end(), {3000ms, 4000ms});
  EXPECT_EQ(after, wanted);
}

TEST(FramePacer, holdsAChangeInsideTheIntervalUntilItIsOver) {
  FramePacer pacer(50);
  pacer.sentChange(1000s);
  pacer.changeSeen();
  // The display need not be watched: it is known to have changed.
  EXPECT_EQ(pacer.next(1000s + 5ms), (FramePacer::Step{Action::wait, 1000s + 20ms, false}));
  EXPECT_EQ(pacer.next(1000s + 20ms).action, Action::look);
}

TEST(FramePacer, holdsLooksThatBringNothingToTheRate) {
  FramePacer pacer(50);
  pacer.sentChange(1000s);
  pacer.changeSeen();
  pacer.sawNothing(1001s);
  pacer.changeSeen();
  EXPECT_EQ(pacer.next(1001s + 1ms), (FramePacer::Step{Action::wait, 1001s + 20ms, false}));
}

TEST(FramePacer, triesAFailedLookAgainAfterTheInterval) {
  FramePacer pacer(50);
  pacer.lookFailed(1000s);
  EXPECT_EQ(pacer.next(1000s), (FramePacer::Step{Action::wait, 1000s + 20ms, false}));
  EXPECT_EQ(pacer.next(1000s + 20ms).action, Action::look);
}

TEST(FramePacer, repeatsAtOnceForAViewerAndSharpensForIt) {
  Life life(60);
  life.runUntil(1002s + 700ms);
  life.frames.clear();
  life.pacer.refreshAsked();
  life.runUntil(1005s);
  ASSERT_EQ(life.frames.size(), 1u + FramePacer::kBurstLength);
  EXPECT_EQ(life.frames[0], 1002s + 700ms);
  EXPECT_EQ(life.frames[1], 1002s + 800ms);
  EXPECT_EQ(life.looks, 1);
}

TEST(FramePacer, keepsTheRateWithManyRefreshes) {
  Life life(10);
  life.runUntil(1000s + 1ms);
  for (int i = 0; i < 1000; ++i) {
    life.pacer.refreshAsked();
    life.runUntil(life.now + 1ms);
  }
  EXPECT_NEAR(static_cast<double>(life.frames.size()), 11, 1);
}

TEST(FramePacer, limitsTheEncodersRequests) {
  Life life(60);
  life.runUntil(1001s);
  life.frames.clear();
  for (int i = 0; i < 2000; ++i) {
    life.pacer.encoderAsked();
    life.runUntil(life.now + 1ms);
  }
  EXPECT_NEAR(static_cast<double>(life.frames.size()), 20, 1);
}

TEST(FramePacer, answersASingleRequestOfTheEncoderAtOnce) {
  Life life(60);
  life.runUntil(1001s + 800ms);
  life.pacer.encoderAsked();
  EXPECT_EQ(life.pacer.next(life.now).action, Action::repeat);
}

TEST(FramePacer, looksBeforeItRepeatsWhenTheDisplayChanged) {
  FramePacer pacer(60);
  pacer.sentChange(1000s);
  pacer.refreshAsked();
  pacer.changeSeen();
  EXPECT_EQ(pacer.next(1001s).action, Action::look);
  pacer.sentChange(1001s);
  EXPECT_EQ(pacer.next(1001s + 50ms).action, Action::wait) << "the change has answered the refresh";
}

TEST(FramePacer, looksAndSendsAtOnceAfterARestart) {
  FramePacer pacer(1);
  pacer.sentChange(1000s);
  pacer.restart();
  EXPECT_EQ(pacer.next(1000s + 1ms).action, Action::look);
  pacer.sawNothing(1000s + 1ms);
  EXPECT_EQ(pacer.next(1000s + 1ms).action, Action::repeat);
}

TEST(FramePacer, keepsRepeatsWithinALowRate) {
  Life life(2);
  life.runUntil(1003s);
  for (std::size_t i = 1; i < life.frames.size(); ++i) EXPECT_GE(life.frames[i] - life.frames[i - 1], 500ms);
}

}  // namespace
}  // namespace vantora
