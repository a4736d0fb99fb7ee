#include <gtest/gtest.h>

#include <vector>

#include "main/video/sources/FramePacer.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using Time = FramePacer::Time;
using Action = FramePacer::Action;

// Simulates time for a pacer: the display changes at the given times, and every frame sent is recorded. The thread
// wakes later than requested by `lateness`.
class Simulation {
 public:
  explicit Simulation(int fps, Time lateness = 0ns) : pacer(fps), lateness_(lateness) {}

  // The display changes at `first` and then every `period`, `count` times.
  void changes(Time first, Time period, int count) {
    for (int i = 0; i < count; ++i) changes_.push_back(first + i * period);
  }

  void runUntil(Time end) {
    while (now < end) {
      const FramePacer::Step step = pacer.next(now);
      if (step.action == Action::poll) {
        poll();
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
  int polls = 0;

 private:
  void poll() {
    ++polls;
    bool changed = frames.empty();
    while (next_ < changes_.size() && changes_[next_] <= now) {
      changed = true;
      ++next_;
    }
    if (changed) {
      frames.push_back(now);
      pacer.sentChange(now);
    } else {
      pacer.pollUnchanged(now);
    }
  }

  void sleep(const FramePacer::Step& step, Time end) {
    const bool change = step.wakeOnChange && next_ < changes_.size() && changes_[next_] <= std::min(step.until, end);
    Time wakeUp = change ? std::max(now, changes_[next_]) : std::min(step.until, end);
    if (wakeUp < end) wakeUp += lateness_;
    now = wakeUp;
    if (change) pacer.noteChange();
  }

  std::vector<Time> changes_;
  std::size_t next_ = 0;
  Time lateness_;
};

TEST(FramePacer, pollsAtOnceWhenItBegins) { EXPECT_EQ(FramePacer(30).next(5s).action, Action::poll); }

TEST(FramePacer, waitsForAChangeWhileThereIsNoFrameToRepeat) {
  FramePacer pacer(30);
  pacer.pollUnchanged(5s);
  EXPECT_EQ(pacer.next(6s), (FramePacer::Step{Action::wait, FramePacer::kForever, true}));
}

TEST(FramePacer, sendsAStillScreenAboutOnceASecondAndThenLessOften) {
  Simulation simulation(60);
  simulation.runUntil(1022s + 100ms);
  // The first frame, its sharpening for six seconds, six more a second apart, and then the screen is at rest.
  const std::size_t still = 1 + FramePacer::kBurstLength;
  const std::size_t rest = still + 6;
  EXPECT_EQ(simulation.frames.size(), rest + 4);
  for (std::size_t i = still; i < simulation.frames.size(); ++i) {
    EXPECT_EQ(simulation.frames[i] - simulation.frames[i - 1], i < rest ? Time(1s) : Time(2500ms)) << i;
  }
}

TEST(FramePacer, neverReadsAStillScreenAgain) {
  Simulation simulation(60);
  simulation.runUntil(1010s);
  EXPECT_EQ(simulation.polls, 1);
}

TEST(FramePacer, sends30FramesASecondOf120Changes) {
  Simulation simulation(30);
  simulation.changes(1000s, 8333333ns, 1200);
  simulation.runUntil(1010s);
  EXPECT_NEAR(static_cast<double>(simulation.frames.size()), 300, 1);
  EXPECT_TRUE(simulation.repeats.empty());
}

TEST(FramePacer, keepsTheRateWhenTheThreadWakesLate) {
  Simulation simulation(60, 2ms);
  simulation.changes(1000s, 1ms, 10000);
  simulation.runUntil(1010s);
  EXPECT_GE(simulation.frames.size(), 595u);
  EXPECT_LE(simulation.frames.size(), 601u);
}

TEST(FramePacer, keepsFramesApartAfterAPause) {
  FramePacer pacer(10);
  pacer.sentChange(1000s);
  pacer.noteChange();
  pacer.sentChange(1005s);
  pacer.noteChange();
  EXPECT_EQ(pacer.next(1005s), (FramePacer::Step{Action::wait, 1005s + 100ms, false}));
}

TEST(FramePacer, sendsASingleChangeAtOnceThenSharpensItThenOnceASecond) {
  Simulation simulation(60);
  simulation.changes(1003s + 300ms, 0s, 1);
  simulation.runUntil(1011s + 500ms);
  const Time change = 1003s + 300ms;
  std::vector<Time> after;
  for (const Time frame : simulation.frames) {
    if (frame >= change) after.push_back(frame - change);
  }
  std::vector<Time> wanted;
  for (Time at = 0ms; at <= 6000ms; at += 100ms) wanted.push_back(at);
  wanted.insert(wanted.end(), {7000ms, 8000ms});
  EXPECT_EQ(after, wanted);
}

TEST(FramePacer, holdsAChangeInsideTheIntervalUntilItIsOver) {
  FramePacer pacer(50);
  pacer.sentChange(1000s);
  pacer.noteChange();
  // The display need not be watched: it is known to have changed.
  EXPECT_EQ(pacer.next(1000s + 5ms), (FramePacer::Step{Action::wait, 1000s + 20ms, false}));
  EXPECT_EQ(pacer.next(1000s + 20ms).action, Action::poll);
}

TEST(FramePacer, holdsPollsWithoutAChangeToTheRate) {
  FramePacer pacer(50);
  pacer.sentChange(1000s);
  pacer.noteChange();
  pacer.pollUnchanged(1001s);
  pacer.noteChange();
  EXPECT_EQ(pacer.next(1001s + 1ms), (FramePacer::Step{Action::wait, 1001s + 20ms, false}));
}

TEST(FramePacer, repeatsAFailedPollAfterTheInterval) {
  FramePacer pacer(50);
  pacer.pollFailed(1000s);
  EXPECT_EQ(pacer.next(1000s), (FramePacer::Step{Action::wait, 1000s + 20ms, false}));
  EXPECT_EQ(pacer.next(1000s + 20ms).action, Action::poll);
}

TEST(FramePacer, repeatsAtOnceForAViewerAndSharpensForIt) {
  Simulation simulation(60);
  simulation.runUntil(1002s + 700ms);
  simulation.frames.clear();
  simulation.pacer.requestRefresh();
  simulation.runUntil(1009s);
  ASSERT_EQ(simulation.frames.size(), 1u + FramePacer::kBurstLength);
  EXPECT_EQ(simulation.frames[0], 1002s + 700ms);
  EXPECT_EQ(simulation.frames[1], 1002s + 800ms);
  EXPECT_EQ(simulation.polls, 1);
}

TEST(FramePacer, keepsTheRateWithManyRefreshes) {
  Simulation simulation(10);
  simulation.runUntil(1000s + 1ms);
  for (int i = 0; i < 1000; ++i) {
    simulation.pacer.requestRefresh();
    simulation.runUntil(simulation.now + 1ms);
  }
  EXPECT_NEAR(static_cast<double>(simulation.frames.size()), 11, 1);
}

TEST(FramePacer, limitsTheEncodersRequests) {
  Simulation simulation(60);
  simulation.runUntil(1001s);
  simulation.frames.clear();
  for (int i = 0; i < 2000; ++i) {
    simulation.pacer.requestByEncoder();
    simulation.runUntil(simulation.now + 1ms);
  }
  EXPECT_NEAR(static_cast<double>(simulation.frames.size()), 20, 1);
}

TEST(FramePacer, answersASingleRequestOfTheEncoderAtOnce) {
  Simulation simulation(60);
  simulation.runUntil(1001s + 800ms);
  simulation.pacer.requestByEncoder();
  EXPECT_EQ(simulation.pacer.next(simulation.now).action, Action::repeat);
}

TEST(FramePacer, pollsBeforeItRepeatsWhenTheDisplayChanged) {
  FramePacer pacer(60);
  pacer.sentChange(1000s);
  pacer.requestRefresh();
  pacer.noteChange();
  EXPECT_EQ(pacer.next(1001s).action, Action::poll);
  pacer.sentChange(1001s);
  EXPECT_EQ(pacer.next(1001s + 50ms).action, Action::wait) << "the change has answered the refresh";
}

TEST(FramePacer, pollsAndSendsAtOnceAfterARestart) {
  FramePacer pacer(1);
  pacer.sentChange(1000s);
  pacer.restart();
  EXPECT_EQ(pacer.next(1000s + 1ms).action, Action::poll);
  pacer.pollUnchanged(1000s + 1ms);
  EXPECT_EQ(pacer.next(1000s + 1ms).action, Action::repeat);
}

TEST(FramePacer, keepsRepeatsWithinALowRate) {
  Simulation simulation(2);
  simulation.runUntil(1003s);
  for (std::size_t i = 1; i < simulation.frames.size(); ++i)
    EXPECT_GE(simulation.frames[i] - simulation.frames[i - 1], 500ms);
}

}  // namespace
}  // namespace vantora
