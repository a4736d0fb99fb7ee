#include "companion/server/StaticFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include "companion/server/Gzip.h"

namespace vantora::companion {

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qint64 kMaxFileSize = 8 * 1024 * 1024;

// Everything the page needs comes from this server. The WebSocket is named by scheme, because not
// every browser counts it as 'self'.
constexpr QByteArrayView kSecurityHeaders =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "media-src 'self' blob:; connect-src 'self' ws: wss:; base-uri 'none'; form-action 'self'; "
    "frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "X-Frame-Options: DENY\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n";

QByteArray contentType(const QString& suffix) {
  static const QHash<QString, QByteArray> kTypes = {
      {u"html"_s, "text/html; charset=utf-8"},
      {u"css"_s, "text/css; charset=utf-8"},
      {u"js"_s, "text/javascript; charset=utf-8"},
      {u"mjs"_s, "text/javascript; charset=utf-8"},
      {u"json"_s, "application/json; charset=utf-8"},
      {u"svg"_s, "image/svg+xml"},
      {u"png"_s, "image/png"},
      {u"ico"_s, "image/x-icon"},
      {u"woff2"_s, "font/woff2"},
      {u"txt"_s, "text/plain; charset=utf-8"},
  };
  return kTypes.value(suffix.toLower(), "application/octet-stream");
}

// Below this size a response fits into one packet anyway, in bytes.
constexpr qsizetype kWorthCompressing = 1024;

bool isText(const QByteArray& type) {
  return type.startsWith("text/") || type.contains("json") || type.contains("svg");
}

// `extra`: further header lines.
QByteArray assemble(int status, const QByteArray& reason, const QByteArray& type, const QByteArray& body, bool withBody,
                    QByteArrayView extra = {}) {
  QByteArray response = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason + "\r\n";
  if (status == 405) response += "Allow: GET, HEAD\r\n";
  response += "Content-Type: " + type + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n";
  response += "Cache-Control: no-store\r\n";
  response += extra;
  response += kSecurityHeaders;
  response += "Connection: close\r\n\r\n";
  if (withBody) response += body;
  return response;
}

}  // namespace

StaticFiles::StaticFiles(const QString& folder) : root_(QFileInfo(folder).canonicalFilePath()) {}

QByteArray StaticFiles::plainResponse(int status, const QByteArray& reason, bool withBody) {
  return assemble(status, reason, "text/plain; charset=utf-8", reason + '\n', withBody);
}

QByteArray StaticFiles::explainedResponse(int status, const QByteArray& reason, QByteArrayView text) {
  return assemble(status, reason, "text/plain; charset=utf-8", text.toByteArray(), true);
}

QByteArray StaticFiles::response(const HttpRequest& request) const {
  const bool withBody = request.method != "HEAD";
  if (withBody && request.method != "GET") return plainResponse(405, "Method Not Allowed");
  const QString path = fileFor(request.target);
  if (path.isEmpty()) return plainResponse(404, "Not Found", withBody);
  QFile file(path);
  if (file.size() > kMaxFileSize || !file.open(QIODevice::ReadOnly)) return plainResponse(404, "Not Found", withBody);
  const QByteArray type = contentType(QFileInfo(path).suffix());
  const QByteArray body = file.readAll();
  if (!isText(type) || body.size() < kWorthCompressing) return assemble(200, "OK", type, body, withBody);
  const QByteArray compressed = request.acceptsGzip ? gzip(body) : QByteArray();
  if (compressed.isEmpty()) return assemble(200, "OK", type, body, withBody, "Vary: Accept-Encoding\r\n");
  return assemble(200, "OK", type, compressed, withBody, "Vary: Accept-Encoding\r\nContent-Encoding: gzip\r\n");
}

QString StaticFiles::fileFor(const QByteArray& target) const {
  if (root_.isEmpty()) return {};
  const qsizetype query = target.indexOf('?');
  const QByteArray path = QByteArray::fromPercentEncoding(query < 0 ? target : target.first(query));
  if (path.contains('\0') || path.contains('\\')) return {};
  QStringList names = QString::fromUtf8(path).split(u'/', Qt::SkipEmptyParts);
  if (path.endsWith('/')) names.append(u"index.html"_s);
  for (const QString& name : names) {
    if (name.startsWith(u'.')) return {};  // "..", and hidden files
  }
  const QFileInfo file(root_ + u'/' + names.join(u'/'));
  QString canonical = file.canonicalFilePath();
  if (!file.isFile() || !canonical.startsWith(root_ + u'/')) return {};
  return canonical;
}

}  // namespace vantora::companion
