#include "platform/x11/X11Connection.h"

#include "platform/x11/ConnectLock.h"

namespace vantora {

X11Connection::X11Connection(const QString& displayName) : displayName_(displayName.toLocal8Bit()) {}

X11Connection::~X11Connection() {
  if (connection_ != nullptr) xcb_disconnect(connection_);
}

xcb_connection_t* X11Connection::open() {
  if (xcb_connection_t* live = current()) return live;
  if (connection_ != nullptr) xcb_disconnect(connection_);
  int screenNumber = 0;
  {
    const std::lock_guard lock(x11::connectMutex());
    connection_ = xcb_connect(displayName_.isEmpty() ? nullptr : displayName_.constData(), &screenNumber);
  }
  if (current() == nullptr) return nullptr;
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
  for (int skipped = 0; skipped < screenNumber && screens.rem > 1; ++skipped) xcb_screen_next(&screens);
  screen_ = screens.data;
  ++generation_;
  return connection_;
}

xcb_connection_t* X11Connection::current() const {
  return connection_ != nullptr && xcb_connection_has_error(connection_) == 0 ? connection_ : nullptr;
}

bool hasExtension(xcb_connection_t* connection, xcb_extension_t* extension) {
  const xcb_query_extension_reply_t* reply = xcb_get_extension_data(connection, extension);
  return reply != nullptr && reply->present != 0;
}

}  // namespace vantora
