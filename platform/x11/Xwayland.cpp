#include "platform/x11/Xwayland.h"

#include <xcb/randr.h>

#include <string_view>

namespace vantora {
namespace {

constexpr std::string_view kName = "XWAYLAND";

bool hasXwaylandExtension(X11Connection& server) {
  const auto reply = server.reply<xcb_query_extension_reply_t>(
      xcb_query_extension_unchecked(server.current(), static_cast<std::uint16_t>(kName.size()), kName.data()));
  return reply && reply->present != 0;
}

// The version in Debian 12 names its outputs XWAYLAND0, XWAYLAND1 and so on.
bool hasXwaylandOutput(X11Connection& server) {
  if (!server.offers(&xcb_randr_id)) return false;
  const auto resources = server.reply<xcb_randr_get_screen_resources_current_reply_t>(
      xcb_randr_get_screen_resources_current_unchecked(server.current(), server.screen().root));
  if (!resources) return false;
  const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_current_outputs(resources.get());
  for (int index = 0; index < resources->num_outputs && server.current() != nullptr; ++index) {
    const auto output = server.reply<xcb_randr_get_output_info_reply_t>(
        xcb_randr_get_output_info_unchecked(server.current(), outputs[index], resources->config_timestamp));
    if (!output) continue;
    const auto* name = reinterpret_cast<const char*>(xcb_randr_get_output_info_name(output.get()));
    if (std::string_view(name, output->name_len).starts_with(kName)) return true;
  }
  return false;
}

}  // namespace

bool isXwayland(X11Connection& server) {
  if (server.current() == nullptr) return false;
  return hasXwaylandExtension(server) || (server.current() != nullptr && hasXwaylandOutput(server));
}

}  // namespace vantora
