#include <api/field_trials.h>
#include <gtest/gtest.h>
#include <rtc_base/network_monitor.h>

#include "main/rtc/NetworkMonitor.h"

namespace vantora {
namespace {

class NetworkMonitorTest : public testing::Test {
 protected:
  std::unique_ptr<rtc::NetworkMonitorInterface> make() {
    const webrtc::FieldTrials trials("");
    std::unique_ptr<rtc::NetworkMonitorInterface> monitor(factory_->CreateNetworkMonitor(trials));
    monitor->SetNetworksChangedCallback([this] { ++looks_; });
    return monitor;
  }

  NetworkMonitors monitors_;
  std::unique_ptr<rtc::NetworkMonitorFactory> factory_ = monitors_.makeFactory();
  int looks_ = 0;
};

TEST_F(NetworkMonitorTest, makesTheLibraryLookWhenTheNetworksChange) {
  const auto monitor = make();
  monitor->Start();
  monitors_.networksChanged();
  EXPECT_EQ(looks_, 1);
}

TEST_F(NetworkMonitorTest, tellsNothingToAMonitorThatWasStoppedOrDestroyed) {
  auto monitor = make();
  monitor->Start();
  monitor->Stop();
  monitors_.networksChanged();
  monitor->Start();
  monitor.reset();
  monitors_.networksChanged();
  EXPECT_EQ(looks_, 0);
}

TEST_F(NetworkMonitorTest, takesTheTypesOfNetworksFromTheirNames) {
  const auto monitor = make();
  EXPECT_TRUE(monitor->GetInterfaceInfo("eth0").available);
  EXPECT_EQ(monitor->GetInterfaceInfo("eth0").adapter_type, rtc::ADAPTER_TYPE_ETHERNET);
  EXPECT_EQ(monitor->GetInterfaceInfo("wg0").adapter_type, rtc::ADAPTER_TYPE_UNKNOWN);
  EXPECT_FALSE(monitor->SupportsBindSocketToNetwork());
}

}  // namespace
}  // namespace vantora
