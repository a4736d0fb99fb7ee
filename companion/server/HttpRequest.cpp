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
    const QByteArray name = lines[i].first(colon).trimmed().toLower();
    const QByteArray value = lines[i].sliced(colon + 1).trimmed();
    if (name == "upgrade") {
      for (const QByteArray& protocol : value.split(',')) {
        if (protocol.trimmed().toLower() == "websocket") request.upgradesToWebSocket = true;
      }
    } else if (name == "host") {
      request.host += request.host.isEmpty() ? value : ", " + value;
    } else if (name == "origin") {
      request.origin = request.origin ? *request.origin + ", " + value : value;
    }
  }
  return request;
}

}  // namespace vantora::companion
