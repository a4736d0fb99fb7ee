#include "platform/DisplayServer.h"

#include <xcb/xcb.h>

namespace vantora {

bool isDisplayServerReachable() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const bool answers = xcb_connection_has_error(connection) == 0;
  xcb_disconnect(connection);
  return answers;
}

}  // namespace vantora
