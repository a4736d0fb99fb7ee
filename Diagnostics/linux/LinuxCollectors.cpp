#include "Diagnostics/linux/LinuxCollectors.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;
using namespace onLinux;

const std::vector<Collector>& linuxCollectors() {
  static const std::vector<Collector> kCollectors = {
      {"network"_L1, wifi},
      {"network"_L1, addresses},
      {"network"_L1, portal, Collector::Turn::early},
      {"network"_L1, proxy},
      {"network"_L1, vpn},
      {"ping"_L1, pingGateway},
      {"ping"_L1, pingResolver},
      {"ping"_L1, pingInternet, Collector::Turn::early},
      {"crashes"_L1, crashes},
      {"crashes"_L1, kernelPanics, Collector::Turn::early},
      {"storage"_L1, volume},
      {"storage"_L1, caches, Collector::Turn::early},
      {"storage"_L1, downloads, Collector::Turn::early},
      {"storage"_L1, applications, Collector::Turn::early},
      {"storage"_L1, deviceBackups},
      {"storage"_L1, snapshots},
      {"storage"_L1, indexing},
      {"storage"_L1, smart},
      {"battery"_L1, battery},
      {"processes"_L1, processes, Collector::Turn::first},
      {"updates"_L1, version},
      {"updates"_L1, updates, Collector::Turn::early},
      {"security"_L1, integrity},
      {"security"_L1, firewall},
      {"thermal"_L1, thermal},
  };
  return kCollectors;
}

}  // namespace vantora::Diagnostics
