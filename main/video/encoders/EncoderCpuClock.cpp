#include "main/video/encoders/EncoderCpuClock.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace vantora {
namespace {

// The system's clock of one thread's processor time (clock_getcpuclockid has it for processes only).
clockid_t clockOf(pid_t thread) { return static_cast<clockid_t>((~static_cast<unsigned>(thread) << 3U) | 6U); }

// Of this process.
std::set<pid_t> allThreads() {
  std::set<pid_t> threads;
  std::error_code error;
  for (std::filesystem::directory_iterator each("/proc/self/task", error), end; !error && each != end;
       each.increment(error)) {
    threads.insert(static_cast<pid_t>(std::strtol(each->path().filename().c_str(), nullptr, 10)));
  }
  return threads;
}

}  // namespace

double EncoderCpuClock::seconds() const {
  const auto read = [](clockid_t clock) {
    timespec time{};
    return clock_gettime(clock, &time) == 0
               ? static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9
               : 0;
  };
  double sum = read(CLOCK_THREAD_CPUTIME_ID);
  for (const pid_t thread : threads_) sum += read(clockOf(thread));
  return sum;
}

void EncoderCpuClock::beforeStart() { others_ = allThreads(); }

void EncoderCpuClock::afterStart() {
  std::ranges::set_difference(allThreads(), others_, std::inserter(threads_, threads_.end()));
}

}  // namespace vantora
