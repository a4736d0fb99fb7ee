#include "companion/server/RoomRegistry.h"

#include <algorithm>

namespace vantora::companion {

using namespace Qt::Literals::StringLiterals;

Effects RoomRegistry::receive(MemberId from, const QString& text, Moment now) {
  const auto message = parseJsonObject(text.toUtf8());
  const auto type = message ? stringField(*message, "type"_L1) : std::nullopt;
  if (!type) return {};

  const auto found = members_.find(from);
  if (found == members_.end()) return *type == "join"_L1 ? join(from, *message, now) : Effects{};

  const JoinRequest& identity = found->second.identity;
  Room& room = rooms_.at(identity.room);
  Effects effects;
  if (*type == "chat_send"_L1) {
    const QString line = shortened(stringField(*message, "text"_L1).value_or(QString()), kMaxChatText);
    if (!line.trimmed().isEmpty()) {
      toEveryone(room, chatBroadcast(identity.sender, line, now.unixMilliseconds), effects);
    }
  } else if (*type == "reaction_send"_L1) {
    const QString reaction = stringField(*message, "reaction"_L1).value_or(QString());
    if (!reaction.isEmpty() && reaction.size() <= kMaxReactionName) {
      toEveryone(room, reactionBroadcast(identity.sender, reaction), effects);
    }
  } else if (relayedFrom(identity.role, *type)) {
    const bool request = *type == "renegotiate"_L1 && reachesHost(room, from);
    if (request && !room.requests.take(1, now.monotonic)) return effects;
    relay(room, from, identity.role, text, effects);
  }
  return effects;
}

Effects RoomRegistry::join(MemberId id, const JsonObject& message, Moment now) {
  Effects effects;
  const auto request = parseJoin(message);
  if (!request) {
    effects.closings.push_back({id, Dismissal::badJoin});
    return effects;
  }
  const auto existing = rooms_.find(request->room);
  if (existing == rooms_.end() && rooms() >= limits_.rooms) {
    effects.closings.push_back({id, Dismissal::tooManyRooms});
    return effects;
  }
  if (request->role == Role::viewer && existing != rooms_.end() &&
      static_cast<int>(existing->second.viewers.size()) >= limits_.viewersPerRoom) {
    effects.closings.push_back({id, Dismissal::roomFull});
    return effects;
  }

  Room& room =
      rooms_.try_emplace(request->room, Room{{}, {}, TokenBucket(limits_.requests, now.monotonic)}).first->second;
  members_[id] = Member{*request};
  if (request->role == Role::host) {
    joinAsHost(id, room, effects);
  } else {
    joinAsViewer(id, request->sender, room, effects);
  }
  announce(room, effects);
  return effects;
}

void RoomRegistry::joinAsHost(MemberId id, Room& room, Effects& effects) {
  if (room.host) {
    members_.erase(*room.host);
    effects.closings.push_back({*room.host, Dismissal::replaced});
  }
  room.host = id;
}

void RoomRegistry::joinAsViewer(MemberId id, const QString& name, Room& room, Effects& effects) {
  // Only the one that was active has to be notified; those before it have been already.
  if (!room.viewers.empty()) effects.messages.push_back({room.viewers.back(), superseded(name)});
  room.viewers.push_back(id);
}

Effects RoomRegistry::leave(MemberId member) {
  Effects effects;
  const auto found = members_.find(member);
  if (found == members_.end()) return effects;
  const auto room = rooms_.find(found->second.identity.room);
  members_.erase(found);

  if (room->second.host == member) room->second.host.reset();
  std::erase(room->second.viewers, member);
  if (!room->second.host && room->second.viewers.empty()) {
    rooms_.erase(room);
  } else {
    announce(room->second, effects);
  }
  return effects;
}

std::optional<Role> RoomRegistry::roleOf(MemberId id) const {
  const auto found = members_.find(id);
  return found == members_.end() ? std::nullopt : std::optional(found->second.identity.role);
}

bool RoomRegistry::reachesHost(const Room& room, MemberId viewer) {
  return room.host && !room.viewers.empty() && room.viewers.back() == viewer;
}

void RoomRegistry::relay(const Room& room, MemberId from, Role role, const QString& text, Effects& effects) {
  if (role == Role::host) {
    toViewers(room, text, effects);
  } else if (reachesHost(room, from)) {
    effects.messages.push_back({*room.host, text});
  }
}

void RoomRegistry::toEveryone(const Room& room, const QString& text, Effects& effects) {
  if (room.host) effects.messages.push_back({*room.host, text});
  toViewers(room, text, effects);
}

void RoomRegistry::toViewers(const Room& room, const QString& text, Effects& effects) {
  for (const MemberId viewer : room.viewers) effects.messages.push_back({viewer, text});
}

// Viewers only: these messages are not part of the protocol with a host.
void RoomRegistry::announce(const Room& room, Effects& effects) const {
  QStringList names;
  for (const MemberId viewer : room.viewers) names.append(members_.at(viewer).identity.sender);
  for (int at = 0; at < names.size(); ++at) {
    effects.messages.push_back(
        {room.viewers[static_cast<std::size_t>(at)], peerState(room.host.has_value(), names, at)});
  }
}

}  // namespace vantora::companion
