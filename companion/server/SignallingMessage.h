// The messages that the room server interprets, of those that pass through it.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

#include "base/Json.h"

namespace vantora::companion {

enum class Role { host, viewer };

// A member's request to enter a room.
struct JoinRequest {
  QString room;
  Role role = Role::viewer;
  // How the member's chat lines are signed: "host" for a host, else the given name or "viewer".
  QString sender;
};

inline constexpr int kMaxRoomName = 128;
inline constexpr int kMaxSenderName = 64;
inline constexpr int kMaxChatText = 4000;
inline constexpr int kMaxReactionName = 32;

// The request in a "join" message, or empty when the message is of another type or its room or role is unusable. A room
// name is taken as it is: 1 to kMaxRoomName UTF-16 units. Pure.
std::optional<JoinRequest> parseJoin(const JsonObject& message);

// Whether a member of `role` may have a message of `type` handed to the other side. Pure.
bool relayedFrom(Role role, const QString& type);

// `text` shortened to at most `limit` UTF-16 units without splitting a character. Pure.
QString shortened(const QString& text, int limit);

// The messages the server makes itself. Pure.
QString chatBroadcast(const QString& from, const QString& text, qint64 unixMilliseconds);
QString reactionBroadcast(const QString& from, const QString& reaction);
// `viewers`: the names of the room's viewers in the order of their arrival, the last one active; `receiver`: the
// position of the receiver among them.
QString peerState(bool hostPresent, const QStringList& viewers, int receiver);
// `by`: the name of the new active viewer.
QString superseded(const QString& by);

}  // namespace vantora::companion
