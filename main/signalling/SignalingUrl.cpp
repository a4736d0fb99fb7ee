#include "main/signalling/SignalingUrl.h"

#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr qint64 kDefaultPort = 8080;

std::optional<SignalingUrl> parseUrl(const std::optional<QString>& text) {
  if (!text || text->isEmpty()) return std::nullopt;
  const QUrl url(*text, QUrl::StrictMode);
  if (!url.isValid()) return std::nullopt;
  return SignalingUrl{url, *text};
}

QString urlOfHost(const QString& host, const Environment& environment) {
  // Unencrypted by default: only "0" turns encryption on. Existing installations rely on this.
  const bool encrypted = environment.equals("SIGNAL_TLS", "0"_L1);
  const qint64 port = environment.integer("SIGNAL_PORT").value_or(kDefaultPort);
  return (encrypted ? u"wss://"_s : u"ws://"_s) + host + u':' + QString::number(port);
}

}  // namespace

std::variant<SignalingUrl, SignalingUrlError> resolveSignalingUrl(const InfoDictionary& info,
                                                                  const Environment& environment,
                                                                  const QStringList& arguments) {
  if (auto url = parseUrl(info.value("VANTORA_SIGNAL_URL"))) return *url;
  if (auto url = parseUrl(environment.value("SIGNAL_URL"))) return *url;
  if (const auto host = environment.nonEmpty("SIGNAL_HOST")) {
    const QString text = urlOfHost(*host, environment);
    if (auto url = parseUrl(text)) return *url;
    return SignalingUrlError{u"not a signaling url: "_s + text};
  }
  if (arguments.size() >= 3) {
    if (auto url = parseUrl(arguments[2])) return *url;
  }
  const QString text = u"ws://localhost:8080"_s;
  return SignalingUrl{QUrl(text), text};
}

}  // namespace vantora
