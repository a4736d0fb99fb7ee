// The processor time of collecting the machine's statistics while a viewer is connected: on this machine as it is, with
// two thousand sleeping processes, and compared with five login shells per second.
//
//   bench_telemetry [--seconds N] [--out FILE]
#include <sys/resource.h>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <optional>
#include <thread>

#include "main/telemetry/system/linux/LinuxFigures.h"
#include "tests/fakes/SleepingProcesses.h"

namespace {
using namespace Qt::Literals::StringLiterals;
using Clock = std::chrono::steady_clock;

constexpr int kSleepers = 2000;
constexpr int kMessagesASecond = 4;

double threadSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double childrenSeconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Cost {
  double percent = 0;    // of one processor
  double firstMs = 0;    // processor time of the first collection, which reads everything twice
  double longestMs = 0;  // of a later one
  qsizetype bytes = 0;   // of the object
};

// The rate with a viewer: one collection and four messages per second.
Cost collecting(int seconds) {
  vantora::LinuxFigures figures(vantora::LinuxFigures::Sources::ofThisMachine());
  Cost cost;
  double before = threadSeconds();
  (void)toJson(figures.collect({}));
  cost.firstMs = (threadSeconds() - before) * 1000;
  double used = 0;
  const auto start = Clock::now();
  for (int second = 1; second <= seconds; ++second) {
    std::this_thread::sleep_until(start + std::chrono::seconds(second));
    before = threadSeconds();
    const vantora::JsonObject object = toJson(figures.collect({}));
    for (int i = 0; i < kMessagesASecond; ++i) cost.bytes = vantora::toJson(object).size();
    const double each = threadSeconds() - before;
    used += each;
    cost.longestMs = std::max(cost.longestMs, each * 1000);
  }
  cost.percent = used / std::chrono::duration<double>(Clock::now() - start).count() * 100;
  return cost;
}

// The same statistics from five commands in login shells, as a share of one processor at one run per second. The user
// has no shell profile here: it would only add to the time.
double shellPercent() {
  const QTemporaryDir home;
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(u"HOME"_s, home.path());
  const QStringList commands = {u"ps -A -o %cpu | awk 'NR>1 {s+=$1} END {print s}'"_s, u"cat /proc/meminfo"_s,
                                u"df -k / | tail -n 1"_s,
                                u"awk 'NR>2 {rx+=$2; tx+=$10} END {print rx, tx}' /proc/net/dev"_s,
                                u"ps -Ao pid,comm,rss,pcpu --sort=-pcpu | head -n 12"_s};
  constexpr int kRounds = 3;
  const double before = childrenSeconds();
  for (int round = 0; round < kRounds; ++round) {
    for (const QString& command : commands) {
      QProcess shell;
      shell.setProcessEnvironment(environment);
      shell.setStandardInputFile(QProcess::nullDevice());
      shell.start(u"/bin/bash"_s, {u"-lc"_s, command});
      shell.waitForFinished();
    }
  }
  return (childrenSeconds() - before) / kRounds * 100;
}

QJsonObject figure(const QString& name, double value, const QString& unit, std::optional<double> aim = {}) {
  QJsonObject result{{u"name"_s, name}, {u"value"_s, value}, {u"unit"_s, unit}, {u"better"_s, u"lower"_s}};
  if (aim) result[u"aim"_s] = *aim;
  std::printf("%s: %.3f %s\n", qPrintable(name), value, qPrintable(unit));
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  const QStringList arguments = QCoreApplication::arguments();
  const auto value = [&](const QString& name) { return arguments.value(arguments.indexOf(name) + 1); };
  const int seconds = arguments.contains(u"--seconds"_s) ? std::max(1, value(u"--seconds"_s).toInt()) : 5;

  const double shells = shellPercent();
  const Cost alone = collecting(seconds);
  QJsonArray list{figure(u"statistics, one viewer"_s, alone.percent, u"% of a core"_s, 0.5),
                  figure(u"the same by five login shells a second"_s, shells, u"% of a core"_s),
                  figure(u"statistics, longest collection"_s, alone.longestMs, u"ms of processor time"_s),
                  figure(u"statistics, size"_s, static_cast<double>(alone.bytes), u"bytes"_s)};
  {
    const vantora::fakes::SleepingProcesses sleepers(kSleepers);
    if (sleepers.count() < kSleepers) {
      std::fprintf(stderr, "only %zu processes could be started\n", sleepers.count());
      return 1;
    }
    // Longer: scans of all processes are rare and should have the same weight as in a session.
    const Cost crowded = collecting(2 * seconds);
    const QString among = u" among %1 sleeping processes"_s.arg(kSleepers);
    list.append(figure(u"statistics"_s + among, crowded.percent, u"% of a core"_s, 0.5));
    list.append(figure(u"the same by five login shells a second"_s + among, shellPercent(), u"% of a core"_s));
    list.append(figure(u"longest collection"_s + among, crowded.longestMs, u"ms of processor time"_s));
    list.append(figure(u"first collection"_s + among, crowded.firstMs, u"ms of processor time"_s));
  }

  if (!arguments.contains(u"--out"_s)) return 0;
  QFile out(value(u"--out"_s));
  const QByteArray json = QJsonDocument(QJsonObject{{u"figures"_s, list}}).toJson();
  if (!out.open(QIODevice::WriteOnly) || out.write(json) != json.size()) {
    std::fprintf(stderr, "cannot write %s\n", qPrintable(out.fileName()));
    return 1;
  }
  return 0;
}
