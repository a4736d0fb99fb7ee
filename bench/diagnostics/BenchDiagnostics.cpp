// The time of a full diagnostics report of this machine, the processor time of its commands, and the frame rate of a
// session meanwhile.
//
//   bench_diagnostics [--runs N] [--network] [--out FILE]
//
// By default it runs in a network of its own that holds nothing but the loopback interface, so that no packet leaves
// the machine; --network measures with the network as it is. --out writes the figures as JSON.
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <thread>
#include <vector>

#include "Diagnostics/Diagnostics.h"

namespace {
using namespace Qt::Literals::StringLiterals;
namespace Diagnostics = vantora::Diagnostics;

// Moves the process to an empty network namespace with only the loopback interface up. False without the rights for it.
bool leaveNetwork() {
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request{};
  qstrncpy(request.ifr_name, "lo", IFNAMSIZ);
  request.ifr_flags = IFF_UP;
  const bool up = fd >= 0 && ioctl(fd, SIOCSIFFLAGS, &request) == 0;
  if (fd >= 0) close(fd);
  return up;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

struct FrameCount {
  int due = 0;
  int inTime = 0;

  void add(const FrameCount& other) {
    due += other.due;
    inTime += other.inTime;
  }
  [[nodiscard]] double share() const { return due > 0 ? 100.0 * inTime / due : 0; }
};

// Simulates a session: 60 times per second a frame that takes some work, on a thread of normal priority.
class Frames {
 public:
  Frames() : thread_([this](const std::stop_token& stop) { work(stop); }) {}

  // The frames that were due since the last call, and those that were ready before the next one was due.
  FrameCount take() { return {all_.exchange(0), inTime_.exchange(0)}; }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::microseconds kPeriod{16'667};
  static constexpr std::chrono::microseconds kWork{5'000};

  void work(const std::stop_token& stop) {
    auto due = Clock::now();
    while (!stop.stop_requested()) {
      due += kPeriod;
      std::this_thread::sleep_until(due);
      // Processor time, not time on the clock: a frame that is interrupted takes longer.
      const auto end = threadTime() + kWork;
      while (threadTime() < end) {
      }
      const auto late = Clock::now() - due;
      ++all_;
      if (late <= kPeriod) ++inTime_;
      // Missed frames are skipped; the next one is due at the next period.
      while (due + kPeriod < Clock::now()) {
        due += kPeriod;
        ++all_;
      }
    }
  }

  static std::chrono::nanoseconds threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  }

  std::atomic<int> all_ = 0;
  std::atomic<int> inTime_ = 0;
  std::jthread thread_;
};

double childrenSeconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  const QStringList arguments = QCoreApplication::arguments();
  const auto value = [&](const QString& name) { return arguments.value(arguments.indexOf(name) + 1); };
  const int runs = arguments.contains(u"--runs"_s) ? std::max(1, value(u"--runs"_s).toInt()) : 5;
  const bool withNetwork = arguments.contains(u"--network"_s);

  Diagnostics::Options options;
  if (!withNetwork) {
    if (!leaveNetwork()) {
      std::fprintf(stderr, "cannot make a network of its own; --network measures with the one there is\n");
      return 1;
    }
    options.captivePageUrl = u"http://127.0.0.1:9/"_s;
    options.internetAddress = u"127.0.0.1"_s;
  }

  Frames frames;
  FrameCount alone;
  FrameCount meanwhile;
  std::vector<double> times;
  qsizetype bytes = 0;
  const double childrenBefore = childrenSeconds();
  for (int i = 0; i < runs; ++i) {
    // Before each report the same time without one, so that other load on the machine affects both.
    (void)frames.take();
    std::this_thread::sleep_for(std::chrono::duration<double>(times.empty() ? 2.0 : times.back()));
    alone.add(frames.take());
    const auto start = std::chrono::steady_clock::now();
    const QJsonObject report = Diagnostics::run(options);
    times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    meanwhile.add(frames.take());
    bytes = QJsonDocument(report).toJson(QJsonDocument::Compact).size();
    std::printf("report %d: %.3f s, %lld bytes\n", i + 1, times.back(), static_cast<long long>(bytes));
  }
  const double commandSeconds = (childrenSeconds() - childrenBefore) / runs;
  std::sort(times.begin(), times.end());
  const double median = times[times.size() / 2];
  std::printf("median %.3f s, worst %.3f s, processor time of the commands %.3f s a report\n", median, times.back(),
              commandSeconds);

  std::printf("frames in time: %.1f %% alone, %.1f %% while reports run\n", alone.share(), meanwhile.share());

  if (!arguments.contains(u"--out"_s)) return 0;
  constexpr double kAimSeconds = 3;
  const auto figure = [](const QString& name, double amount, const QString& unit) {
    return QJsonObject{{u"name"_s, name}, {u"value"_s, amount}, {u"unit"_s, unit}, {u"better"_s, u"lower"_s}};
  };
  QJsonObject whole = figure(u"diagnostics report, median"_s, median, u"s"_s);
  whole[u"aim"_s] = kAimSeconds;
  QJsonObject kept = figure(u"frames in time while reports run"_s, meanwhile.share(), u"%"_s);
  kept[u"better"_s] = u"higher"_s;
  QJsonObject undisturbed = figure(u"frames in time without a report"_s, alone.share(), u"%"_s);
  undisturbed[u"better"_s] = u"higher"_s;
  const QJsonArray list{whole,
                        kept,
                        undisturbed,
                        figure(u"diagnostics report, worst of %1"_s.arg(runs), times.back(), u"s"_s),
                        figure(u"diagnostics report, processor time of its commands"_s, commandSeconds, u"s"_s),
                        figure(u"diagnostics report, size"_s, static_cast<double>(bytes), u"bytes"_s)};
  const QJsonObject figures{{u"figures"_s, list}};
  QFile out(value(u"--out"_s));
  const QByteArray json = QJsonDocument(figures).toJson();
  if (!out.open(QIODevice::WriteOnly) || out.write(json) != json.size()) {
    std::fprintf(stderr, "cannot write %s\n", qPrintable(out.fileName()));
    return 1;
  }
  return 0;
}
