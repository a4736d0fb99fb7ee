// A connection to an X server that may come and go.
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

// A reply, an error or an event of xcb, which come from malloc.
template <typename T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

template <typename T>
XcbPtr<T> xcbOwned(T* memory) {
  return XcbPtr<T>(memory);
}

// Owns one xcb connection. Opened at the first use and opened again at a later use when the server
// was gone in between. One owner, one thread.
//
// Nothing here waits longer than kTimeout. A server that takes longer (it is stopped, or serves a
// program that has taken it for itself) is silent: it counts as gone, and is not waited for again,
// until it answers.
class X11Connection {
 public:
  static constexpr std::chrono::milliseconds kTimeout{1000};

  // `displayName`: such as ":0"; empty: the DISPLAY variable decides.
  explicit X11Connection(const QString& displayName);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  // The live connection, opened when needed; null when there is no server, or a silent one. What a
  // little writing needs is free in its socket, so that xcb_flush() does not wait.
  xcb_connection_t* open();
  // The live connection; null when none is open or the server is gone or silent. Never opens one.
  xcb_connection_t* current();
  // The open connection of a silent server too, where something can still be written for later.
  xcb_connection_t* lastWords();
  // Whether the server is there and has not answered in time.
  bool silent() const { return probe_.has_value() || attempt_ != nullptr; }
  // Counts successful openings, and the ends of silences: a changed number means that server-side
  // state is new or that requests may have been left out.
  std::uint64_t generation() const { return generation_; }
  // Root window of the default screen; its size as it was at the opening.
  const xcb_screen_t& screen() const { return *screen_; }

  // The reply to the request of `cookie`; null when it failed or the server fell silent.
  template <typename Reply, typename Cookie>
  XcbPtr<Reply> reply(Cookie cookie) {
    return XcbPtr<Reply>(static_cast<Reply*>(await(cookie.sequence)));
  }
  // Whether the server has done everything that was sent so far. A round trip.
  bool answers();
  // Whether the server offers `extension`. A round trip, and no other when it is used for the first
  // time after that.
  bool offers(xcb_extension_t* extension);
  // From now on requests of this connection are carried out also while another program has taken
  // the server for itself. False when the server cannot do that.
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
  std::shared_ptr<Attempt> attempt_;   // An opening that the server has not answered yet.
  std::optional<unsigned int> probe_;  // A question whose answer ends the silence.
};

// Whether the server offers `extension`. Costs a round trip the first time, for which it waits without limit.
bool hasExtension(xcb_connection_t* connection, xcb_extension_t* extension);

}  // namespace vantora
