// Makes the library look at the machine's networks when told to. Internal to this folder.
#pragma once

#include <rtc_base/network_monitor_factory.h>
#include <rtc_base/thread.h>

#include <memory>

namespace vantora {

class NetworkMonitor;

// By itself the library looks every two seconds. The library's factory owns it; `NetworkMonitors` outlives its copies
// of the list below.
class NetworkMonitors {
 public:
  NetworkMonitors();
  ~NetworkMonitors();
  NetworkMonitors(const NetworkMonitors&) = delete;
  NetworkMonitors& operator=(const NetworkMonitors&) = delete;

  // For the library's factory.
  std::unique_ptr<rtc::NetworkMonitorFactory> makeFactory();
  // The library reads the networks now. Network thread.
  void networksChanged();

 private:
  class Factory;
  struct Current;
  // The monitor in use, if any; read and changed on the network thread.
  std::shared_ptr<Current> current_;
};

}  // namespace vantora
