#include "companion/server/HttpRequest.h"

#include <QList>

namespace vantora::companion {

namespace {

// Whether a list such as "deflate, gzip;q=0.5" has gzip in it, and does not refuse it by a weight of 0.
bool listsGzip(const QByteArray& encodings) {
  for (const QByteArray& entry : encodings.split(',')) {
    const QList<QByteArray> parts = entry.split(';');
    if (parts.first().trimmed().toLower() != "gzip") continue;
    const QByteArray weight = parts.size() > 1 ? parts[1].trimmed().toLower() : QByteArray();
    return !weight.startsWith("q=") || weight.sliced(2).toDouble() > 0;
  }
  return false;
}

}  // namespace

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
    } else if (name == "accept-encoding") {
      request.acceptsGzip = request.acceptsGzip || listsGzip(value);
    } else if (name == "host") {
      request.host += request.host.isEmpty() ? value : ", " + value;
    } else if (name == "origin") {
      request.origin = request.origin ? *request.origin + ", " + value : value;
    }
  }
  return request;
}

}  // namespace vantora::companion
