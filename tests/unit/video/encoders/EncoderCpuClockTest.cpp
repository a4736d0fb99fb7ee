#include <gtest/gtest.h>

#include <ctime>
#include <semaphore>
#include <thread>

#include "main/video/encoders/EncoderCpuClock.h"

namespace vantora {
namespace {

double ownSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void work(double seconds) {
  for (const double end = ownSeconds() + seconds; ownSeconds() < end;) {
  }
}

// A thread that works when it is told to.
class Worker {
 public:
  ~Worker() {
    go_.release();
    thread_.join();
  }
  void run() {
    go_.release();
    done_.acquire();
  }

 private:
  std::binary_semaphore go_{0};
  std::binary_semaphore done_{0};
  std::thread thread_{[this] {
    go_.acquire();
    work(0.02);
    done_.release();
    go_.acquire();
  }};
};

TEST(EncoderCpuClock, countsTheCallerAndTheThreadsThatWereStarted) {
  Worker other;
  EncoderCpuClock clock;
  clock.beforeStart();
  Worker worker;
  clock.afterStart();
  const double before = clock.seconds();
  work(0.01);
  EXPECT_GE(clock.seconds() - before, 0.01);
  worker.run();
  const double both = clock.seconds() - before;
  EXPECT_GE(both, 0.03);
  const double own = ownSeconds();
  other.run();
  EXPECT_LT(clock.seconds() - before - both, 0.01 + ownSeconds() - own) << "not what others do";
}

TEST(EncoderCpuClock, addsThreadsThatAreStartedLaterUntilItIsReset) {
  EncoderCpuClock clock;
  clock.beforeStart();
  Worker first;
  clock.afterStart();
  clock.beforeStart();
  Worker second;
  clock.afterStart();
  double before = clock.seconds();
  first.run();
  second.run();
  EXPECT_GE(clock.seconds() - before, 0.04);
  clock.reset();
  before = clock.seconds();
  EXPECT_LT(before, ownSeconds() + 0.001);
}

}  // namespace
}  // namespace vantora
