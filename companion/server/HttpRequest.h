// The part of HTTP that the room server needs: the head of one request.
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <optional>

namespace vantora::companion {

struct HttpRequest {
  QByteArray method;
  // Path and query as sent, still percent-encoded.
  QByteArray target;
  // The client asks for an upgrade to a WebSocket.
  bool upgradesToWebSocket = false;
  // The client takes a body that is compressed as gzip.
  bool acceptsGzip = false;
  // The address the client sent this to; several such headers are joined by commas, as in HTTP.
  QByteArray host = {};
  // The origin of the page that a browser sends this for; empty from other programs. Several are joined likewise.
  std::optional<QByteArray> origin = {};
};

inline constexpr qsizetype kMaxRequestHead = 16 * 1024;

// Whether `received` holds the empty line that ends a request's head. Pure.
bool hasWholeHead(QByteArrayView received);

// The request whose head is at the start of `received`, or empty when it is not HTTP/1.x. Pure.
std::optional<HttpRequest> parseRequestHead(QByteArrayView received);

}  // namespace vantora::companion
