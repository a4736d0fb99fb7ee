#include "main/telemetry/system/linux/LinuxFigures.h"

#include <fcntl.h>
#include <unistd.h>

#include <QDir>
#include <cmath>
#include <condition_variable>
#include <mutex>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

double rounded(double value) { return std::round(value * 10) / 10; }

bool wait(const std::stop_token& stop, std::chrono::milliseconds time) {
  std::mutex mutex;
  std::condition_variable_any woken;
  std::unique_lock lock(mutex);
  woken.wait_for(lock, stop, time, [&] { return stop.stop_requested(); });
  return !stop.stop_requested();
}

QString variable(const char* name) { return qEnvironmentVariable(name); }

// The folders in which desktops search for desktop entries.
DesktopEntries::Places applicationPlaces() {
  DesktopEntries::Places places;
  const QString home = QDir::homePath();
  const QString own = variable("XDG_DATA_HOME");
  QStringList data{own.startsWith(u'/') ? own : home + u"/.local/share"_s};
  const QString shared = variable("XDG_DATA_DIRS");
  data += (shared.isEmpty() ? u"/usr/local/share:/usr/share"_s : shared).split(u':', Qt::SkipEmptyParts);
  data += {home + u"/.local/share/flatpak/exports/share"_s, u"/var/lib/flatpak/exports/share"_s,
           u"/var/lib/snapd/desktop"_s};
  data.removeDuplicates();
  for (const QString& folder : data) places.folders.append(QDir::cleanPath(folder + u"/applications"_s));
  places.programFolders = variable("PATH").split(u':', Qt::SkipEmptyParts);
  for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (places.locale.isEmpty()) places.locale = variable(name);
  }
  return places;
}

}  // namespace

std::optional<DiskFigures> diskFigures(const struct statvfs& volume) {
  if (volume.f_blocks == 0) return std::nullopt;
  const auto kib = [&](fsblkcnt_t blocks) {
    return static_cast<quint64>(std::ceil(static_cast<double>(blocks) * static_cast<double>(volume.f_frsize) / 1024));
  };
  const fsblkcnt_t used = volume.f_blocks - volume.f_bfree;
  // Blocks reserved for the administrator are neither used nor available.
  const auto usable = static_cast<double>(used) + static_cast<double>(volume.f_bavail);
  const double percent = usable > 0 ? std::ceil(static_cast<double>(used) * 100 / usable) : 0;
  return DiskFigures{percent, kib(volume.f_blocks) * 1024, kib(used) * 1024};
}

LinuxFigures::Sources LinuxFigures::Sources::ofThisMachine() {
  Sources sources;
  sources.ticksPerSecond = static_cast<double>(sysconf(_SC_CLK_TCK));
  sources.pageBytes = static_cast<quint64>(sysconf(_SC_PAGESIZE));
  sources.nowSeconds = [] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  };
  sources.pause = wait;
  sources.applications = applicationPlaces();
  return sources;
}

LinuxFigures::LinuxFigures(Sources sources)
    : sources_(std::move(sources)),
      proc_(open(sources_.proc.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
      processes_(sources_.proc, sources_.ticksPerSecond),
      applications_(proc_, sources_.applications) {}

LinuxFigures::~LinuxFigures() {
  if (proc_ >= 0) close(proc_);
}

SystemFigures LinuxFigures::collect(const std::stop_token& stop) {
  double now = sources_.nowSeconds();
  const bool first = !lastAt_ || now - *lastAt_ > kLongestInterval;
  if (first) {
    lastTicks_ = readTicks();
    processes_.clear();
    processes_.sample(now, 0, true);
    if (!sources_.pause(stop, kFirstInterval)) return {};
    now = sources_.nowSeconds();
  }

  SystemFigures figures;
  const auto ticks = readTicks();
  double processTicks = 0;
  if (ticks && lastTicks_) {
    const auto percent = proctext::cpuPercent(*lastTicks_, *ticks);
    if (percent) figures.cpuPct = rounded(*percent);
    if (ticks->processes > lastTicks_->processes) {
      processTicks = static_cast<double>(ticks->processes - lastTicks_->processes);
    }
  }
  figures.memory = proctext::parseMeminfo(reader_.read(proc_, "meminfo"));
  struct statvfs volume {};
  if (statvfs(sources_.rootVolume.c_str(), &volume) == 0) figures.disk = diskFigures(volume);
  if (const auto totals = proctext::parseNetDev(reader_.read(proc_, "net/dev"))) {
    figures.network = network_.sample(*totals, sources_.nowSeconds());
  }
  processes_.sample(now, processTicks, first);
  figures.top = top(now);
  lastTicks_ = ticks;
  lastAt_ = now;
  return figures;
}

std::optional<proctext::CpuTicks> LinuxFigures::readTicks() {
  // The line for all processors is the first one; the interrupt lines further down are long.
  return proctext::parseStat(reader_.read(proc_, "stat", 1024));
}

std::vector<ProcessFigures> LinuxFigures::top(double now) {
  const std::vector<ProcessRow> busiest = processes_.busiest(kTop, now);
  std::vector<ProcessFigures> result;
  result.reserve(busiest.size());
  for (const ProcessRow& row : busiest) {
    const ProcessIdentity& identity = applications_.identify(row);
    result.push_back({.pid = row.pid,
                      .name = shownName(identity.command, identity.application),
                      .rssBytes = row.rssPages * sources_.pageBytes,
                      .cpuPct = rounded(row.share),
                      .application = identity.application});
  }
  applications_.keepOnly(busiest);
  return result;
}

}  // namespace vantora
