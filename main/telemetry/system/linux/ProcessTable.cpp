#include "main/telemetry/system/linux/ProcessTable.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <tuple>

namespace vantora {
namespace {

bool isBusier(const ProcessRow& a, const ProcessRow& b) {
  return std::tuple(-a.share, ~a.rssPages, a.pid) < std::tuple(-b.share, ~b.rssPages, b.pid);
}

}  // namespace

ProcessTable::ProcessTable(const std::string& folder, double ticksPerSecond)
    : folder_(opendir(folder.c_str())), ticksPerSecond_(ticksPerSecond) {}

ProcessTable::~ProcessTable() {
  if (folder_) closedir(folder_);
}

void ProcessTable::list() {
  pids_.clear();
  if (!folder_) return;
  rewinddir(folder_);
  while (const dirent* const entry = readdir(folder_)) {
    const char* const end = entry->d_name + std::strlen(entry->d_name);
    qint32 pid = 0;
    const auto [stop, error] = std::from_chars(entry->d_name, end, pid);
    if (error == std::errc() && stop == end && pid > 0) pids_.push_back(pid);
  }
  // Rows of ids that are gone are removed.
  ++round_;
  for (const qint32 pid : pids_) {
    Entry& entry = rows_[pid];
    entry.row.pid = pid;
    entry.round = round_;
    entry.refreshed = false;
  }
  if (rows_.size() > pids_.size()) std::erase_if(rows_, [this](const auto& row) { return row.second.round != round_; });
}

bool ProcessTable::refresh(Entry& entry, double now) {
  char path[32];
  char* const end = std::to_chars(path, path + 16, entry.row.pid).ptr;
  std::memcpy(end, "/stat", 6);
  entry.refreshed = true;
  ++readCount_;
  const auto stat = proctext::parseProcessStat(reader_.read(dirfd(folder_), path));
  if (!stat) return false;
  ProcessRow& row = entry.row;
  const bool known = row.sampledAt > 0 && row.startTicks == stat->startTicks;
  const double seconds = now - row.sampledAt;
  // The first sample of a process, also of one that got a reused id, has nothing to compare with.
  entry.ticks = known && stat->cpuTicks > row.cpuTicks ? stat->cpuTicks - row.cpuTicks : 0;
  if (!known) {
    row.share = 0;
    entry.quiet = quietAtFirst_;
  } else if (seconds > 0) {
    row.share = static_cast<double>(entry.ticks) / ticksPerSecond_ / seconds * 100;
    entry.quiet = entry.ticks > 0 ? 0 : entry.quiet + 1;
  }
  row.startTicks = stat->startTicks;
  row.cpuTicks = stat->cpuTicks;
  row.rssPages = stat->rssPages;
  row.uninterruptible = stat->uninterruptible;
  row.sampledAt = now;
  if (row.name != stat->name) row.name = stat->name;
  return true;
}

const ProcessTable::Entry* ProcessTable::refreshOne(qint32 pid, double now) {
  const auto found = rows_.find(pid);
  if (found == rows_.end() || found->second.refreshed) return nullptr;
  if (refresh(found->second, now)) return &found->second;
  rows_.erase(found);
  return nullptr;
}

double ProcessTable::refreshAll(double now) {
  double used = 0;
  for (const qint32 pid : pids_) {
    if (const Entry* const entry = refreshOne(pid, now)) used += static_cast<double>(entry->ticks);
  }
  lastFullSample_ = now;
  return used;
}

void ProcessTable::sample(double now, double processTicks, bool all) {
  readCount_ = 0;
  list();
  const double interval = now - lastSample_;
  lastSample_ = now;
  // Processes of a full sample are quiet unless their next sample shows otherwise; later ones are watched for a while.
  quietAtFirst_ = all ? kQuietSamples - 1 : 0;
  if (all || pids_.size() <= kFew) {
    refreshAll(now);
    pause_ = kShortestPause;
    return;
  }

  double explained = 0;
  const auto readProcess = [&](qint32 pid) {
    // For a process not read recently this may include older time: the next sample then finds the difference.
    if (const Entry* const entry = refreshOne(pid, now)) explained += static_cast<double>(entry->ticks);
  };
  for (const qint32 pid : pids_) {
    const Entry& entry = rows_[pid];
    if (entry.row.sampledAt == 0 || entry.quiet < kQuietSamples) readProcess(pid);
  }
  for (std::size_t i = 0; i < kInTurn; ++i) {
    if (++turn_ >= pids_.size()) turn_ = 0;
    readProcess(pids_[turn_]);
  }
  const double unexplained = processTicks - explained;
  if (unexplained <= kUnexplainedPercent / 100 * interval * ticksPerSecond_ || now - lastFullSample_ < pause_) return;
  const bool found = refreshAll(now) >= unexplained / 2;
  pause_ = found ? kShortestPause : std::min(pause_ * 2, kLongestPause);
}

std::vector<ProcessRow> ProcessTable::busiest(std::size_t count, double now) {
  std::vector<std::pair<const ProcessRow*, Entry*>> order;
  order.reserve(rows_.size());
  for (auto& [pid, entry] : rows_) order.emplace_back(&entry.row, &entry);
  const auto middle = order.begin() + static_cast<std::ptrdiff_t>(std::min(count, order.size()));
  std::partial_sort(order.begin(), middle, order.end(),
                    [](const auto& a, const auto& b) { return isBusier(*a.first, *b.first); });
  std::vector<ProcessRow> result;
  for (auto each = order.begin(); each != middle; ++each) {
    Entry& entry = *each->second;
    if (entry.refreshed || refresh(entry, now)) result.push_back(entry.row);
  }
  std::sort(result.begin(), result.end(), isBusier);
  return result;
}

}  // namespace vantora
