// A connection to an X server that may start, stop or hang at any time.
#pragma once

#include <xcb/xcb.h>

#include <QByteArray>
#include <QString>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

namespace vantora {

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

// A reply, an error or an event of xcb, allocated with malloc.
template <typename T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

template <typename T>
XcbPtr<T> xcbOwned(T* memory) {
  return XcbPtr<T>(memory);
}

// Owns one xcb connection. Opened at the first use and opened again at a later use when the server was gone in between.
// One owner, one thread.
//
// No call waits longer than kTimeout. A server that takes longer (it is stopped, or grabbed by another program) is
// silent: it counts as gone, and is not waited for again, until it replies.
class X11Connection {
 public:
  static constexpr std::chrono::milliseconds kTimeout{1000};

  // `displayName`: such as ":0"; empty: the DISPLAY variable decides.
  explicit X11Connection(const QString& displayName);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  // The live connection, opened when needed; null when there is no server, or a silent one. Its socket has room for a
  // small write, so that xcb_flush() does not block.
  xcb_connection_t* open();
  // The live connection; null when none is open or the server is gone or silent. Never opens one.
  xcb_connection_t* current();
  // The open connection, also of a silent server, when its socket is writable now; else null. A silent server reads the
  // data later.
  xcb_connection_t* writableConnection();
  // Whether the server exists but has not replied in time.
  bool silent() const { return probe_.has_value() || attempt_ != nullptr; }
  // Counts successful openings and the ends of silent periods: a changed number means that server-side state is new or
  // that requests may have been skipped.
  std::uint64_t generation() const { return generation_; }
  // Root window of the default screen; its size is that at the time of opening.
  const xcb_screen_t& screen() const { return *screen_; }

  // The reply to the request of `cookie`; null when it failed or the server became silent.
  template <typename Reply, typename Cookie>
  XcbPtr<Reply> reply(Cookie cookie) {
    return XcbPtr<Reply>(static_cast<Reply*>(await(cookie.sequence)));
  }
  // Waits until the server has processed everything sent so far; false on failure. A round trip.
  bool roundTrip();
  // Whether the server offers `extension`. One round trip; the first use of the extension then needs no other.
  bool offers(xcb_extension_t* extension);
  // From now on requests of this connection are processed even while another program has grabbed the server. False when
  // the server does not support that.
  bool ignoreServerGrabs();

 private:
  struct Attempt;

  bool takeAttempt();
  bool responsive();
  bool writable(std::chrono::milliseconds timeout) const;
  void* await(unsigned int sequence);
  void fallSilent();

  QByteArray displayName_;
  xcb_connection_t* connection_ = nullptr;
  int screenNumber_ = 0;
  xcb_screen_t* screen_ = nullptr;
  std::uint64_t generation_ = 0;
  std::shared_ptr<Attempt> attempt_;   // An opening that is still in progress.
  std::optional<unsigned int> probe_;  // A request whose reply ends the silence.
};

// Whether the server offers `extension`. The first call is a round trip and waits for it without limit.
bool hasExtension(xcb_connection_t* connection, xcb_extension_t* extension);

}  // namespace vantora
