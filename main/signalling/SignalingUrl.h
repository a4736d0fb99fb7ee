// Where the signalling server is.
//
// Purpose: pure choice of the URL from configuration. Thread: any. No state.
#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>
#include <variant>

#include "base/Environment.h"
#include "base/InfoDictionary.h"

namespace vantora {

struct SignalingUrl {
  QUrl url;
  // As configured, unchanged; for the log.
  QString text;
};

// The configured server does not give a valid URL: the program must print `message` as a fatal error and stop.
struct SignalingUrlError {
  QString message;
};

// First match wins: the information key VANTORA_SIGNAL_URL, SIGNAL_URL, SIGNAL_HOST with SIGNAL_PORT and SIGNAL_TLS,
// the second command-line argument, the default on this machine. A text that is not a URL falls through to the next
// source, except that SIGNAL_HOST is final. `arguments` begins with the program's name.
[[nodiscard]] std::variant<SignalingUrl, SignalingUrlError> resolveSignalingUrl(const InfoDictionary& info,
                                                                                const Environment& environment,
                                                                                const QStringList& arguments);

}  // namespace vantora
