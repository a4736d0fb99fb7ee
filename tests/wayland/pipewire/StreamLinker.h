// What a session manager does for a receiver of a stream: it links its port to the node that it names.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/wayland/pipewire/PipeWireClient.h"

namespace vantora::testpipewire {

class StreamLinker {
 public:
  explicit StreamLinker(const PipeWireServer& server);
  ~StreamLinker();
  StreamLinker(const StreamLinker&) = delete;
  StreamLinker& operator=(const StreamLinker&) = delete;

 private:
  struct Node {
    StreamLinker* linker = nullptr;
    std::uint32_t id = 0;
    pw_proxy* proxy = nullptr;
    spa_hook hook{};
    std::string target;
    bool hasInput = false;
    bool linked = false;
  };
  static const pw_registry_events kEvents;
  static const pw_node_events kNodeEvents;
  void added(std::uint32_t id, const std::string& type, const spa_dict* properties);
  void removed(std::uint32_t id);
  void link(Node& node);

  PipeWireClient client_;
  pw_registry* registry_ = nullptr;
  spa_hook hook_{};
  std::map<std::uint32_t, Node> nodes_;
  std::vector<pw_proxy*> links_;
};

}  // namespace vantora::testpipewire
