// A connection of a test to its PipeWire server, with a thread.
#pragma once

#include <fcntl.h>
#include <pipewire/pipewire.h>

#include <map>
#include <string>

#include "tests/pipewire/PipeWireServer.h"

namespace vantora::testpipewire {

class PipeWireClient {
 public:
  explicit PipeWireClient(const PipeWireServer& server) {
    pw_init(nullptr, nullptr);
    loop_ = pw_thread_loop_new("test", nullptr);
    context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
    core_ = pw_context_connect_fd(context_, ::fcntl(server.connect().get(), F_DUPFD_CLOEXEC, 0), nullptr, 0);
    pw_thread_loop_start(loop_);
  }
  // Everything that uses the connection has to be destroyed before.
  ~PipeWireClient() {
    pw_thread_loop_stop(loop_);
    if (core_ != nullptr) pw_core_disconnect(core_);
    pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
  }
  PipeWireClient(const PipeWireClient&) = delete;
  PipeWireClient& operator=(const PipeWireClient&) = delete;

  pw_core* core() const { return core_; }
  // Held by the callbacks of the library too.
  class Lock {
   public:
    explicit Lock(const PipeWireClient& client) : loop_(client.loop_) { pw_thread_loop_lock(loop_); }
    ~Lock() { pw_thread_loop_unlock(loop_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pw_thread_loop* loop_;
  };

 private:
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
};

// What a session manager does for a receiver of a stream: it links its port to the node that it names.
class StreamLinker {
 public:
  explicit StreamLinker(const PipeWireServer& server) : client_(server) {
    const PipeWireClient::Lock lock(client_);
    if (client_.core() == nullptr) return;
    registry_ = pw_core_get_registry(client_.core(), PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &hook_, &kEvents, this);
  }
  ~StreamLinker() {
    const PipeWireClient::Lock lock(client_);
    while (!nodes_.empty()) removed(nodes_.begin()->first);
    if (registry_ != nullptr) spa_hook_remove(&hook_);
  }
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

  static std::string property(const spa_dict* properties, const char* name) {
    const char* const value = properties != nullptr ? spa_dict_lookup(properties, name) : nullptr;
    return value != nullptr ? value : "";
  }
  void added(std::uint32_t id, const std::string& type, const spa_dict* properties) {
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
  void removed(std::uint32_t id) {
    const auto node = nodes_.find(id);
    if (node == nodes_.end()) return;
    spa_hook_remove(&node->second.hook);
    pw_proxy_destroy(node->second.proxy);
    nodes_.erase(node);
  }
  void link(Node& node) const {
    if (node.linked || !node.hasInput || node.target.empty()) return;
    node.linked = true;
    const std::string input = std::to_string(node.id);
    const spa_dict_item items[] = {SPA_DICT_ITEM_INIT(PW_KEY_LINK_OUTPUT_NODE, node.target.c_str()),
                                   SPA_DICT_ITEM_INIT(PW_KEY_LINK_INPUT_NODE, input.c_str())};
    const spa_dict properties = SPA_DICT_INIT_ARRAY(items);
    pw_core_create_object(client_.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties, 0);
  }

  inline static const pw_registry_events kEvents = [] {
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                       const spa_dict* properties) { static_cast<StreamLinker*>(self)->added(id, type, properties); };
    events.global_remove = [](void* self, std::uint32_t id) { static_cast<StreamLinker*>(self)->removed(id); };
    return events;
  }();
  inline static const pw_node_events kNodeEvents = [] {
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

  PipeWireClient client_;
  pw_registry* registry_ = nullptr;
  spa_hook hook_{};
  std::map<std::uint32_t, Node> nodes_;
};

}  // namespace vantora::testpipewire
