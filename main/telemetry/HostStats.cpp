#include "main/telemetry/HostStats.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr std::chrono::milliseconds kPeriod{250};

}  // namespace

void HostStats::startTimer() {
  hostStatsTimer_ = scheduler_.every(kPeriod, kPeriod, [this] {
    if (sender_.isOpen(ControlChannel::reliable)) sendHostStats(ControlChannel::reliable);
  });
}

void HostStats::sendHostStats(ControlChannel channel) {
  const SessionFigures figures = sources_.session();
  JsonObject message{{u"type"_s, u"host_stats"_s},
                     {u"preset"_s, figures.preset},
                     {u"width"_s, figures.width},
                     {u"height"_s, figures.height},
                     {u"fps"_s, figures.fps},
                     {u"maxKbps"_s, figures.maxKbps},
                     {u"capture"_s, figures.screen ? u"screen"_s : u"dummy"_s},
                     {u"displayIndex"_s, figures.displayIndex},
                     {u"lastCaptureNs"_s, figures.lastCaptureNs}};
  if (sources_.hostName) message.insert(u"hostName"_s, *sources_.hostName);
  message.insert(u"room"_s, sources_.roomId);
  if (sources_.roomId == "demo"_L1) message.insert(u"demo"_s, true);
  if (const auto system = sources_.system()) message.insert(u"sys"_s, *system);
  if (const auto link = sources_.link()) message.insert(u"link"_s, *link);
  if (const QJsonArray names = displayNames(); !names.isEmpty()) message.insert(u"displayNames"_s, names);
  sender_.send(channel, message);
}

QJsonArray HostStats::displayNames() {
  const std::vector<Display> displays = displays_.list();
  QJsonArray names;
  for (const Display& display : displays) {
    if (display.name.isEmpty()) return {};
    names.append(display.name);
  }
  return displays.size() > 1 ? names : QJsonArray();
}

void HostStats::sendDisplayInfo(ControlChannel channel) {
  sender_.send(channel, {{u"type"_s, u"display_info"_s},
                         {u"count"_s, static_cast<qint64>(displays_.list().size())},
                         {u"current"_s, sources_.session().displayIndex}});
}

}  // namespace vantora
