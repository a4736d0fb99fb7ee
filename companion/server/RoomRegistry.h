// The rooms: who is in them, and who receives what.
#pragma once

#include <QString>
#include <chrono>
#include <map>
#include <optional>
#include <vector>

#include "companion/server/SignallingMessage.h"
#include "companion/server/TokenBucket.h"

namespace vantora::companion {

// A connection, as its owner numbers it; never used twice.
using MemberId = quint64;

enum class Dismissal { replaced, badJoin, roomFull, tooManyRooms };

// What the owner of the connections is to do, in this order: send, then close. A dismissed member
// has left its room already; leave() for it later is harmless.
struct Effects {
  struct Message {
    MemberId to;
    QString text;
  };
  struct Closing {
    MemberId member;
    Dismissal why;
  };
  std::vector<Message> messages;
  std::vector<Closing> closings;
};

// Pure state: no sockets, threads or clocks.
//
// A room exists while it has members. It has at most one host: a newer one replaces it. Of several viewers the newest
// is the active one; what the others send no longer reaches the host, since a viewer that disappeared without closing
// its connection stays a member until the connection is found dead.
class RoomRegistry {
 public:
  struct Limits {
    int rooms = 1000;
    int viewersPerRoom = 16;
    // "renegotiate" makes a host write a whole offer. A room's host receives it at most this often, whoever asks;
    // requests beyond that are dropped, and the next one within the rate gets its offer.
    TokenBucket::Rate requests{.burst = 20, .perSecond = 4};
  };
  // When something was received: `monotonic` for rates, `unixMilliseconds` for the stamps of chat lines.
  struct Moment {
    std::chrono::nanoseconds monotonic;
    qint64 unixMilliseconds;
  };

  explicit RoomRegistry(Limits limits) : limits_(limits) {}

  // One text message of `from`; a member's first usable message is its "join". Anything that is not
  // a JSON object of a known type is dropped.
  [[nodiscard]] Effects receive(MemberId from, const QString& text, Moment now);
  // The connection is gone. Unknown ids are ignored.
  [[nodiscard]] Effects leave(MemberId member);

  bool isMember(MemberId id) const { return members_.contains(id); }
  // Empty when `id` is not a member.
  std::optional<Role> roleOf(MemberId id) const;
  int rooms() const { return static_cast<int>(rooms_.size()); }

 private:
  struct Room {
    std::optional<MemberId> host;
    std::vector<MemberId> viewers;  // in order of arrival: the last one is active
    TokenBucket requests;
  };
  struct Member {
    JoinRequest identity;
  };

  Effects join(MemberId id, const JsonObject& message, Moment now);
  void joinAsHost(MemberId id, Room& room, Effects& effects);
  static void joinAsViewer(MemberId id, const QString& name, Room& room, Effects& effects);
  static bool reachesHost(const Room& room, MemberId viewer);
  static void relay(const Room& room, MemberId from, Role role, const QString& text, Effects& effects);
  static void toEveryone(const Room& room, const QString& text, Effects& effects);
  static void toViewers(const Room& room, const QString& text, Effects& effects);
  void announce(const Room& room, Effects& effects) const;

  const Limits limits_;
  std::map<QString, Room> rooms_;
  std::map<MemberId, Member> members_;
};

}  // namespace vantora::companion
