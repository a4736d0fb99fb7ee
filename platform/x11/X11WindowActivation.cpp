#include "platform/x11/X11WindowActivation.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>

#include "platform/x11/X11Connection.h"

namespace vantora {
namespace {

constexpr std::uint32_t kFromPanel = 2;

// Sends the window manager the message `name` about `window`, with the data `values`.
void sendToManager(std::uint32_t window, const QString& displayName, std::string_view name,
                   const std::array<std::uint32_t, 3>& values) {
  X11Connection connection(displayName);
  xcb_connection_t* const server = connection.open();
  if (!server) return;
  const auto atom = connection.reply<xcb_intern_atom_reply_t>(
      xcb_intern_atom(server, false, static_cast<std::uint16_t>(name.size()), name.data()));
  if (!atom) return;
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atom->atom;
  std::copy(values.begin(), values.end(), message.data.data32);
  xcb_send_event(server, false, connection.screen().root,
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                 reinterpret_cast<const char*>(&message));
  // A reply shows that the server has the message: data that is only buffered is lost with the connection.
  std::ignore = connection.roundTrip();
}

}  // namespace

void activateX11Window(std::uint32_t window, const QString& displayName) {
  sendToManager(window, displayName, "_NET_ACTIVE_WINDOW", {kFromPanel, XCB_CURRENT_TIME, XCB_NONE});
}

void raiseX11Window(std::uint32_t window, const QString& displayName) {
  sendToManager(window, displayName, "_NET_RESTACK_WINDOW", {kFromPanel, XCB_NONE, XCB_STACK_MODE_ABOVE});
}

bool hasX11WindowManager(const QString& displayName) {
  X11Connection connection(displayName);
  xcb_connection_t* const server = connection.open();
  if (!server) return false;
  const auto root = connection.reply<xcb_get_window_attributes_reply_t>(
      xcb_get_window_attributes_unchecked(server, connection.screen().root));
  // Only one program may select this event mask, and window managers do.
  return root && (root->all_event_masks & XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT) != 0;
}

}  // namespace vantora
