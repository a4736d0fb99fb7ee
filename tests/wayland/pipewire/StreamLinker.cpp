#include "tests/wayland/pipewire/StreamLinker.h"

namespace vantora::testpipewire {
namespace {

std::string property(const spa_dict* properties, const char* name) {
  const char* const value = properties != nullptr ? spa_dict_lookup(properties, name) : nullptr;
  return value != nullptr ? value : "";
}

}  // namespace

const pw_registry_events StreamLinker::kEvents = [] {
  pw_registry_events events{};
  events.version = PW_VERSION_REGISTRY_EVENTS;
  events.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                     const spa_dict* properties) { static_cast<StreamLinker*>(self)->added(id, type, properties); };
  events.global_remove = [](void* self, std::uint32_t id) { static_cast<StreamLinker*>(self)->removed(id); };
  return events;
}();

const pw_node_events StreamLinker::kNodeEvents = [] {
  pw_node_events events{};
  events.version = PW_VERSION_NODE_EVENTS;
  events.info = [](void* data, const pw_node_info* info) {
    Node& node = *static_cast<Node*>(data);
    node.target = property(info->props, PW_KEY_TARGET_OBJECT);
    if (node.target.empty()) node.target = property(info->props, PW_KEY_NODE_TARGET);
    node.linker->link(node);
  };
  return events;
}();

StreamLinker::StreamLinker(const PipeWireServer& server) : client_(server) {
  const PipeWireClient::Lock lock(client_);
  if (client_.core() == nullptr) return;
  registry_ = pw_core_get_registry(client_.core(), PW_VERSION_REGISTRY, 0);
  pw_registry_add_listener(registry_, &hook_, &kEvents, this);
}

StreamLinker::~StreamLinker() {
  const PipeWireClient::Lock lock(client_);
  while (!nodes_.empty()) removed(nodes_.begin()->first);
  for (pw_proxy* const link : links_) pw_proxy_destroy(link);
  if (registry_ == nullptr) return;
  spa_hook_remove(&hook_);
  pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
}

void StreamLinker::added(std::uint32_t id, const std::string& type, const spa_dict* properties) {
  if (type == PW_TYPE_INTERFACE_Node) {
    Node& node = nodes_[id];
    node.linker = this;
    node.id = id;
    node.proxy = static_cast<pw_proxy*>(pw_registry_bind(registry_, id, type.c_str(), PW_VERSION_NODE, 0));
    pw_node_add_listener(reinterpret_cast<pw_node*>(node.proxy), &node.hook, &kNodeEvents, &node);
  } else if (type == PW_TYPE_INTERFACE_Port && property(properties, PW_KEY_PORT_DIRECTION) == "in") {
    const auto node = nodes_.find(static_cast<std::uint32_t>(std::stoul(property(properties, PW_KEY_NODE_ID))));
    if (node == nodes_.end()) return;
    node->second.hasInput = true;
    link(node->second);
  }
}

// Its id may come again.
void StreamLinker::removed(std::uint32_t id) {
  const auto node = nodes_.find(id);
  if (node == nodes_.end()) return;
  spa_hook_remove(&node->second.hook);
  pw_proxy_destroy(node->second.proxy);
  nodes_.erase(node);
}

void StreamLinker::link(Node& node) {
  if (node.linked || !node.hasInput || node.target.empty()) return;
  node.linked = true;
  const std::string input = std::to_string(node.id);
  const spa_dict_item items[] = {{PW_KEY_LINK_OUTPUT_NODE, node.target.c_str()},
                                 {PW_KEY_LINK_INPUT_NODE, input.c_str()}};
  const spa_dict properties{0, 2, items};
  links_.push_back(static_cast<pw_proxy*>(
      pw_core_create_object(client_.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties, 0)));
}

}  // namespace vantora::testpipewire
