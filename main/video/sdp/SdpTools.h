// Rewriting of the offer's SDP as plain text: payload order, H.264 profile, bit-rate hints.
//
// The text is a list of lines split at the line feed only. A carriage return that ends a line is
// part of that line's text: it survives on lines that pass through, it keeps the last payload type
// of an "m=video" line from matching, and in a rewritten "a=fmtp:" line it stays with the parameter
// it stood behind. Callers that hold text with CRLF line ends decide themselves what they want.
//
// Purpose: pure text functions. Thread: any. Owner: none, there is no state. None of them fails; a
// line that is missing leaves the text as it is.
#pragma once

#include <QString>

namespace vantora::SdpTools {

// Moves the payload types of `codecName` (any case) to the front of the first "m=video" line and
// logs what was moved. Without such a payload type the text comes back unchanged, without a log line.
[[nodiscard]] QString preferCodec(const QString& sdp, const QString& codecName);
// The same for H.264, with a log line of its own.
[[nodiscard]] QString preferH264(const QString& sdp);

// Sets "profile-level-id" to `profileHex`, lower-cased, on every "a=fmtp:" line that speaks of H.264
// by the text "H264", "profile-level-id" or "packetization-mode".
[[nodiscard]] QString rewriteH264Profile(const QString& sdp, const QString& profileHex);

// Replace the x-google bit-rate hints (kbit/s) on the existing "a=fmtp:" lines of the codec. A
// payload type without such a line gets none.
[[nodiscard]] QString setH264BitrateHints(const QString& sdp, int minKbps, int startKbps, int maxKbps);
[[nodiscard]] QString setVP8BitrateHints(const QString& sdp, int minKbps, int startKbps, int maxKbps);

// `parameters` of one "a=fmtp:" line without its earlier x-google pieces and with the three hints
// (kbit/s) at the end.
[[nodiscard]] QString rebuildFmtp(const QString& parameters, int minKbps, int startKbps, int maxKbps);

}  // namespace vantora::SdpTools
