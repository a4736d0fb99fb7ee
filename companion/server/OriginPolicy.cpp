#include "companion/server/OriginPolicy.h"

#include <QHostAddress>
#include <QUrl>
#include <utility>

namespace vantora::companion {

using namespace Qt::Literals::StringLiterals;

namespace {

// What follows "http://" or "https://"; empty for any other scheme.
QByteArray authorityOf(const QByteArray& origin) {
  for (const char* scheme : {"http://", "https://"}) {
    if (origin.startsWith(scheme)) return origin.sliced(qstrlen(scheme));
  }
  return {};
}

// The name or address in "name", "name:port" or "[address]:port".
QByteArray hostOf(const QByteArray& authority) {
  if (authority.startsWith('[')) {
    const qsizetype end = authority.indexOf(']');
    return end < 0 ? QByteArray() : authority.sliced(1, end - 1);
  }
  const qsizetype colon = authority.indexOf(':');
  return colon < 0 ? authority : authority.first(colon);
}

}  // namespace

OriginPolicy::OriginPolicy(QByteArrayList allowed, const QString& machineName)
    : allowed_(std::move(allowed)), machineName_(machineName.toLower().toUtf8()) {}

bool OriginPolicy::admits(const HttpRequest& request) const {
  if (!request.origin) return true;
  const QByteArray origin = request.origin->toLower();
  if (allowed_.contains(origin)) return true;
  const QByteArray authority = authorityOf(origin);
  return !authority.isEmpty() && authority == request.host.toLower() && isOwnName(authority);
}

bool OriginPolicy::isOwnName(const QByteArray& authority) const {
  const QByteArray host = hostOf(authority);
  if (host == "localhost" || host.endsWith(".localhost")) return true;
  if (!machineName_.isEmpty() && (host == machineName_ || host == machineName_ + ".local")) return true;
  return QHostAddress().setAddress(QString::fromLatin1(host));
}

std::optional<QByteArray> parseOrigin(const QString& text) {
  const QUrl url(text.trimmed(), QUrl::StrictMode);
  if (!url.isValid() || (url.scheme() != "http"_L1 && url.scheme() != "https"_L1) || url.host().isEmpty()) {
    return std::nullopt;
  }
  if (!(url.path().isEmpty() || url.path() == "/"_L1) || url.hasQuery() || url.hasFragment() ||
      !url.userInfo().isEmpty()) {
    return std::nullopt;
  }
  const int implied = url.scheme() == "http"_L1 ? 80 : 443;
  QString host = url.host(QUrl::FullyEncoded);
  if (host.contains(u':')) host = u'[' + host + u']';
  QString origin = url.scheme() + u"://"_s + host.toLower();
  if (url.port(implied) != implied) origin += u':' + QString::number(url.port());
  return origin.toUtf8();
}

}  // namespace vantora::companion
