// Values that the session reads from a session description.
//
// Pure text functions, without state. Thread: any.
#pragma once

#include <QString>
#include <QStringView>
#include <optional>

namespace vantora {

// The first DTLS fingerprint in `sdp` as "sha-256 AB:CD:...": hash name in lower case, digits in upper case, one blank
// between, so that equal fingerprints compare equal. Empty without a complete "a=fingerprint:" line. Line ends may be
// LF or CRLF.
[[nodiscard]] std::optional<QString> dtlsFingerprint(QStringView sdp);

// The first ICE user name fragment in `sdp`, as given. Empty without an "a=ice-ufrag:" line.
[[nodiscard]] std::optional<QString> iceUfrag(QStringView sdp);

}  // namespace vantora
