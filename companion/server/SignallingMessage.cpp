#include "companion/server/SignallingMessage.h"

#include <QJsonArray>
#include <algorithm>
#include <array>

namespace vantora::companion {

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr std::array kFromHost = {"offer"_L1, "ice"_L1};
constexpr std::array kFromViewer = {"answer"_L1, "ice"_L1, "renegotiate"_L1, "client_prefs"_L1};

QString asText(const JsonObject& message) { return QString::fromUtf8(toJson(message)); }

// A name as shown before a chat line: without control characters; "host" is reserved for the host.
QString viewerName(const QString& given) {
  QString name;
  for (const QChar c : given) {
    if (c.category() != QChar::Other_Control && c.category() != QChar::Other_Format) name += c;
  }
  name = shortened(name.simplified(), kMaxSenderName);
  if (name.isEmpty() || name.compare("host"_L1, Qt::CaseInsensitive) == 0) return u"viewer"_s;
  return name;
}

}  // namespace

std::optional<JoinRequest> parseJoin(const JsonObject& message) {
  if (stringField(message, "type"_L1) != u"join"_s) return std::nullopt;
  const auto room = stringField(message, "room"_L1);
  const auto role = stringField(message, "role"_L1);
  if (!room || room->isEmpty() || room->size() > kMaxRoomName) return std::nullopt;
  if (role == u"host"_s) return JoinRequest{*room, Role::host, u"host"_s};
  if (role == u"viewer"_s) {
    return JoinRequest{*room, Role::viewer, viewerName(stringField(message, "name"_L1).value_or(QString()))};
  }
  return std::nullopt;
}

bool relayedFrom(Role role, const QString& type) {
  const auto known = [&type](const auto& types) { return std::find(types.begin(), types.end(), type) != types.end(); };
  return role == Role::host ? known(kFromHost) : known(kFromViewer);
}

QString shortened(const QString& text, int limit) {
  if (text.size() <= limit) return text;
  const bool splitsPair = limit > 0 && text.at(limit - 1).isHighSurrogate();
  return text.left(splitsPair ? limit - 1 : limit);
}

QString chatBroadcast(const QString& from, const QString& text, qint64 unixMilliseconds) {
  return asText({{"type"_L1, "chat_broadcast"_L1}, {"from"_L1, from}, {"text"_L1, text}, {"ts"_L1, unixMilliseconds}});
}

QString reactionBroadcast(const QString& from, const QString& reaction) {
  return asText({{"type"_L1, "reaction_broadcast"_L1}, {"from"_L1, from}, {"reaction"_L1, reaction}});
}

QString peerState(bool hostPresent, const QStringList& viewers, int receiver) {
  return asText({{"type"_L1, "peer_state"_L1},
                 {"host"_L1, hostPresent},
                 {"viewers"_L1, static_cast<int>(viewers.size())},
                 {"names"_L1, QJsonArray::fromStringList(viewers)},
                 {"you"_L1, receiver}});
}

QString superseded(const QString& by) { return asText({{"type"_L1, "superseded"_L1}, {"by"_L1, by}}); }

}  // namespace vantora::companion
