#pragma once

#include <vector>

#include "Diagnostics/Collector.h"

namespace vantora::Diagnostics {

// The report's pieces on Linux: the kernel's own files where these have the data, else the tools that are installed.
// Nothing needs more rights than the user has.
[[nodiscard]] const std::vector<Collector>& linuxCollectors();

// The pieces, by section. All blocking, any thread.
namespace onLinux {

[[nodiscard]] QJsonObject wifi(const Probe& probe);
[[nodiscard]] QJsonObject addresses(const Probe& probe);
[[nodiscard]] QJsonObject portal(const Probe& probe);
[[nodiscard]] QJsonObject proxy(const Probe& probe);
[[nodiscard]] QJsonObject vpn(const Probe& probe);

[[nodiscard]] QJsonObject pingGateway(const Probe& probe);
[[nodiscard]] QJsonObject pingResolver(const Probe& probe);
[[nodiscard]] QJsonObject pingInternet(const Probe& probe);

[[nodiscard]] QJsonObject crashes(const Probe& probe);
[[nodiscard]] QJsonObject kernelPanics(const Probe& probe);

[[nodiscard]] QJsonObject volume(const Probe& probe);
[[nodiscard]] QJsonObject caches(const Probe& probe);
[[nodiscard]] QJsonObject downloads(const Probe& probe);
[[nodiscard]] QJsonObject applications(const Probe& probe);
[[nodiscard]] QJsonObject deviceBackups(const Probe& probe);
[[nodiscard]] QJsonObject snapshots(const Probe& probe);
[[nodiscard]] QJsonObject indexing(const Probe& probe);
[[nodiscard]] QJsonObject smart(const Probe& probe);

[[nodiscard]] QJsonObject battery(const Probe& probe);
[[nodiscard]] QJsonObject processes(const Probe& probe);
[[nodiscard]] QJsonObject version(const Probe& probe);
[[nodiscard]] QJsonObject updates(const Probe& probe);
[[nodiscard]] QJsonObject integrity(const Probe& probe);
[[nodiscard]] QJsonObject firewall(const Probe& probe);
[[nodiscard]] QJsonObject thermal(const Probe& probe);

}  // namespace onLinux
}  // namespace vantora::Diagnostics
