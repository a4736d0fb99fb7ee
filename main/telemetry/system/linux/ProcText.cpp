#include "main/telemetry/system/linux/ProcText.h"

#include <array>
#include <charconv>

#include "main/telemetry/system/FigureRules.h"

namespace vantora::proctext {
namespace {

// Reads blank-separated words from the front of a text.
class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}
  std::string_view next() {
    const auto start = rest_.find_first_not_of(" \t");
    if (start == std::string_view::npos) return rest_ = {};
    rest_.remove_prefix(start);
    const auto word = rest_.substr(0, rest_.find_first_of(" \t"));
    rest_.remove_prefix(word.size());
    return word;
  }
  std::optional<quint64> number() {
    const std::string_view word = next();
    quint64 value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (word.empty() || error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return value;
  }
  void skip(int count) {
    for (int i = 0; i < count; ++i) next();
  }

 private:
  std::string_view rest_;
};

// Removes the first line from a text and returns it.
std::string_view nextLine(std::string_view& text) {
  const auto end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

}  // namespace

std::optional<CpuTicks> parseStat(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = nextLine(text);
    if (!line.starts_with("cpu ")) continue;
    // user, nice, system, idle, iowait, irq, softirq, steal; time of guests is part of user and nice.
    Words words(line.substr(4));
    std::array<quint64, 8> times{};
    for (std::size_t i = 0; i < times.size(); ++i) {
      const auto time = words.number();
      // Very old kernels have only four.
      if (!time && i < 4) return std::nullopt;
      times[i] = time.value_or(0);
    }
    CpuTicks ticks;
    for (const quint64 time : times) ticks.total += time;
    ticks.idle = times[3] + times[4];
    ticks.processes = times[0] + times[1] + times[2];
    return ticks;
  }
  return std::nullopt;
}

std::optional<double> cpuPercent(const CpuTicks& before, const CpuTicks& after) {
  // Removing a processor removes its time from the totals.
  if (after.total <= before.total) return std::nullopt;
  const auto total = static_cast<double>(after.total - before.total);
  // Time spent waiting for disks may decrease.
  const double idle = after.idle < before.idle ? 0 : static_cast<double>(after.idle - before.idle);
  return clampedPercent((total - idle) / total * 100);
}

std::optional<MemoryFigures> parseMeminfo(std::string_view text) {
  std::optional<quint64> total;
  std::optional<quint64> free;
  while (!text.empty() && !(total && free)) {
    Words words(nextLine(text));
    const std::string_view label = words.next();
    if (label == "MemTotal:") total = words.number();
    if (label == "MemFree:") free = words.number();
  }
  if (!total || !free) return std::nullopt;
  return MemoryFigures{*total * 1024, *free > *total ? 0 : (*total - *free) * 1024};
}

std::optional<NetworkTotals> parseNetDev(std::string_view text) {
  NetworkTotals totals;
  bool known = false;
  while (!text.empty()) {
    const std::string_view line = nextLine(text);
    // "name: received-bytes ...", the name right-aligned; the two heading lines have bars instead.
    const auto colon = line.rfind(':');
    if (colon == std::string_view::npos || line.find('|') != std::string_view::npos) continue;
    known = true;
    if (Words(line.substr(0, colon)).next() == "lo") continue;
    Words words(line.substr(colon + 1));
    const auto received = words.number();
    words.skip(7);
    const auto sent = words.number();
    if (!received || !sent) continue;
    totals.rxBytes += *received;
    totals.txBytes += *sent;
  }
  return known ? std::optional(totals) : std::nullopt;
}

std::optional<ProcessStat> parseProcessStat(std::string_view text) {
  // A name may hold any characters, even parentheses and line breaks.
  const auto open = text.find('(');
  const auto close = text.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
  ProcessStat stat;
  const auto pid = Words(text.substr(0, open)).number();
  if (!pid || *pid == 0 || *pid > 0x7fff'ffff) return std::nullopt;
  stat.pid = static_cast<qint32>(*pid);
  stat.name = text.substr(open + 1, close - open - 1);
  // After the name: state is field 3, utime 14, stime 15, starttime 22, rss 24.
  Words words(text.substr(close + 1, text.find('\n', close) - close - 1));
  stat.uninterruptible = text.substr(close + 1).starts_with(" D ");
  words.skip(11);
  const auto user = words.number();
  const auto system = words.number();
  words.skip(6);
  const auto start = words.number();
  words.skip(1);
  const auto resident = words.number();
  if (!user || !system || !start) return std::nullopt;
  stat.cpuTicks = *user + *system;
  stat.startTicks = *start;
  stat.rssPages = resident.value_or(0);  // May be negative for a process that is ending.
  return stat;
}

}  // namespace vantora::proctext
