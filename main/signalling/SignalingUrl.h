// Where the signalling server is.
//
// Purpose: pure choice of the URL from configuration. Thread: any. Owner: none, there is no state.
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
  // As configured, character for character; what the log shows.
  QString text;
};

// The configuration names a server in a way that leaves nothing to connect to: the program must
// print `message` as a fatal error and stop.
struct SignalingUrlError {
  QString message;
};

// First match wins: the information key VANTORA_SIGNAL_URL, SIGNAL_URL, SIGNAL_HOST with SIGNAL_PORT
// and SIGNAL_TLS, the second command-line argument, the default on this machine. A text that is not a
// URL falls through to the next source, except that SIGNAL_HOST decides for good.
// `arguments` begins with the program's name.
[[nodiscard]] std::variant<SignalingUrl, SignalingUrlError> resolveSignalingUrl(const InfoDictionary& info,
                                                                                const Environment& environment,
                                                                                const QStringList& arguments);

}  // namespace vantora
