// Statistics about the host for a connected viewer.
#pragma once

#include <QJsonArray>
#include <functional>
#include <memory>
#include <optional>

#include "base/Json.h"
#include "base/Scheduler.h"
#include "main/control/ControlChannel.h"
#include "platform/Displays.h"

namespace vantora {

// The session's own figures, taken at the moment of sending.
struct SessionFigures {
  QString preset;
  int width = 0;
  int height = 0;
  int fps = 0;
  int maxKbps = 0;
  bool screen = false;
  int displayIndex = 0;
  qint64 lastCaptureNs = 0;
};

// Thread: main. Owner: Host. Lives across peer connections.
class HostStats {
 public:
  struct Sources {
    std::function<SessionFigures()> session;
    // The machine's figures ("sys"); nullopt when there are none.
    std::function<std::optional<JsonObject>()> system;
    // The connection's figures ("link"); nullopt when there are none.
    std::function<std::optional<JsonObject>()> link;
    std::optional<QString> hostName;
    QString roomId;
  };

  HostStats(Scheduler& scheduler, Displays& displays, ControlSender& sender, Sources sources)
      : scheduler_(scheduler), displays_(displays), sender_(sender), sources_(std::move(sources)) {}

  // Sends "host_stats" every 0.25 s on "control_reliable" while that is open. Replaces a running timer.
  void startTimer();
  void stopTimer() { hostStatsTimer_.reset(); }

  void sendHostStats(ControlChannel channel);
  // "display_info": how many displays there are and which one is shared.
  void sendDisplayInfo(ControlChannel channel);

 private:
  // The desktop's names for its displays, in their order; empty when one of them has none, or for a single display.
  QJsonArray displayNames();

  Scheduler& scheduler_;
  Displays& displays_;
  ControlSender& sender_;
  Sources sources_;
  std::unique_ptr<Timer> hostStatsTimer_;
};

}  // namespace vantora
