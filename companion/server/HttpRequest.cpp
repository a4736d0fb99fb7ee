#include "companion/server/HttpRequest.h"

#include <QList>

namespace vantora::companion {

bool hasWholeHead(QByteArrayView received) { return received.contains(QByteArrayView("\r\n\r\n")); }

std::optional<HttpRequest> parseRequestHead(QByteArrayView received) {
  const qsizetype end = received.indexOf(QByteArrayView("\r\n\r\n"));
  if (end < 0) return std::nullopt;
  const QList<QByteArray> lines = received.first(end).toByteArray().split('\n');
  const QList<QByteArray> words = lines.first().trimmed().split(' ');
  if (words.size() != 3 || words[0].isEmpty() || !words[1].startsWith('/') || !words[2].startsWith("HTTP/1.")) {
    return std::nullopt;
  }

  HttpRequest request{words[0], words[1], false};
  for (qsizetype i = 1; i < lines.size(); ++i) {
    const qsizetype colon = lines[i].indexOf(':');
    if (colon <= 0) continue;
    if (lines[i].first(colon).trimmed().toLower() != "upgrade") continue;
    for (const QByteArray& protocol : lines[i].sliced(colon + 1).split(',')) {
      if (protocol.trimmed().toLower() == "websocket") request.upgradesToWebSocket = true;
    }
  }
  return request;
}

}  // namespace vantora::companion
