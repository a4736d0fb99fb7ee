// A connection to an X server that may come and go.
#pragma once

#include <xcb/xcb.h>

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace vantora {

// Owns one xcb connection. Opened at the first use and opened again at a later use when the server
// was gone in between. One owner, one thread.
class X11Connection {
 public:
  // `displayName`: such as ":0"; empty: the DISPLAY variable decides.
  explicit X11Connection(const QString& displayName);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  // The live connection, opened when needed; null when there is no server.
  xcb_connection_t* open();
  // The live connection; null when none is open or the server is gone. Never opens one.
  xcb_connection_t* current() const;
  // Counts successful openings: a changed number means that all server-side state is new.
  std::uint64_t generation() const { return generation_; }
  // Root window of the default screen; its size as it was at the opening.
  const xcb_screen_t& screen() const { return *screen_; }

 private:
  QByteArray displayName_;
  xcb_connection_t* connection_ = nullptr;
  xcb_screen_t* screen_ = nullptr;
  std::uint64_t generation_ = 0;
};

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

// A reply, an error or an event of xcb, which come from malloc.
template <typename T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

template <typename T>
XcbPtr<T> xcbOwned(T* memory) {
  return XcbPtr<T>(memory);
}

// Whether the server offers `extension`. Costs a round trip the first time.
bool hasExtension(xcb_connection_t* connection, xcb_extension_t* extension);

}  // namespace vantora
