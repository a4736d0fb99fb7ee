#include "main/rtc/NetworkMonitor.h"

#include <rtc_base/network.h>
#include <rtc_base/network_monitor.h>

// The library declares these and lacks their definitions.
namespace rtc {
NetworkMonitorFactory::NetworkMonitorFactory() = default;
NetworkMonitorFactory::~NetworkMonitorFactory() = default;
}  // namespace rtc

namespace vantora {

struct NetworkMonitors::Current {
  NetworkMonitor* monitor = nullptr;
};

// All on the network thread.
class NetworkMonitor final : public rtc::NetworkMonitorInterface {
 public:
  explicit NetworkMonitor(std::function<void(NetworkMonitor*)> setCurrent) : setCurrent_(std::move(setCurrent)) {}
  ~NetworkMonitor() override { setCurrent_(nullptr); }

  void Start() override { setCurrent_(this); }
  void Stop() override { setCurrent_(nullptr); }
  void changed() { InvokeNetworksChangedCallback(); }

  // As the library does without a monitor.
  InterfaceInfo GetInterfaceInfo(absl::string_view name) override {
    return {.adapter_type = rtc::GetAdapterTypeFromName(name)};
  }

 private:
  const std::function<void(NetworkMonitor*)> setCurrent_;
};

class NetworkMonitors::Factory final : public rtc::NetworkMonitorFactory {
 public:
  explicit Factory(std::shared_ptr<Current> current) : current_(std::move(current)) {}

  rtc::NetworkMonitorInterface* CreateNetworkMonitor(const webrtc::FieldTrialsView&) override {
    return new NetworkMonitor([current = current_](NetworkMonitor* monitor) { current->monitor = monitor; });
  }

 private:
  const std::shared_ptr<Current> current_;
};

NetworkMonitors::NetworkMonitors() : current_(std::make_shared<Current>()) {}
NetworkMonitors::~NetworkMonitors() = default;

std::unique_ptr<rtc::NetworkMonitorFactory> NetworkMonitors::makeFactory() {
  return std::make_unique<Factory>(current_);
}

void NetworkMonitors::networksChanged() {
  if (current_->monitor) current_->monitor->changed();
}

}  // namespace vantora
