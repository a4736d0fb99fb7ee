#include "platform/x11/X11WindowFront.h"

#include <cstring>
#include <tuple>

#include "platform/x11/X11Connection.h"

namespace vantora {

void activateX11Window(std::uint32_t window, const QString& displayName) {
  X11Connection connection(displayName);
  xcb_connection_t* const server = connection.open();
  if (!server) return;
  constexpr auto kName = "_NET_ACTIVE_WINDOW";
  const auto atom = connection.reply<xcb_intern_atom_reply_t>(
      xcb_intern_atom(server, false, static_cast<std::uint16_t>(std::strlen(kName)), kName));
  if (!atom) return;
  constexpr std::uint32_t kFromPanel = 2;
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atom->atom;
  message.data.data32[0] = kFromPanel;
  message.data.data32[1] = XCB_CURRENT_TIME;
  xcb_send_event(server, false, connection.screen().root,
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                 reinterpret_cast<const char*>(&message));
  // An answer shows that the server has it: what is only buffered is lost with the connection.
  std::ignore = connection.answers();
}

}  // namespace vantora
