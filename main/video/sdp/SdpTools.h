// Rewriting of the offer's SDP as plain text: payload order, H.264 profile, bit-rate hints.
//
// The text is split into lines at the line feed only. A carriage return at the end of a line is part of the line: it is
// kept on unchanged lines, it prevents the last payload type of an "m=video" line from matching, and in a rewritten
// "a=fmtp:" line it stays behind its parameter. Callers with CRLF line ends have to handle this themselves.
//
// Pure text functions, without state. Thread: any. None of them fails; if a line is missing, the text stays unchanged.
#pragma once

#include <QString>

namespace vantora::SdpTools {

// Moves the payload types of `codecName` (case-insensitive) to the front of the first "m=video" line and logs them.
// Without such a payload type the text is returned unchanged, without a log line.
[[nodiscard]] QString preferCodec(const QString& sdp, const QString& codecName);
// The same for H.264, with a log line of its own.
[[nodiscard]] QString preferH264(const QString& sdp);

// Sets "profile-level-id" to `profileHex`, lower-cased, on every "a=fmtp:" line that contains "H264",
// "profile-level-id" or "packetization-mode".
[[nodiscard]] QString rewriteH264Profile(const QString& sdp, const QString& profileHex);

// Replace the x-google bit-rate hints (kbit/s) on the existing "a=fmtp:" lines of the codec. A
// payload type without such a line gets none.
[[nodiscard]] QString setH264BitrateHints(const QString& sdp, int minKbps, int startKbps, int maxKbps);
[[nodiscard]] QString setVP8BitrateHints(const QString& sdp, int minKbps, int startKbps, int maxKbps);

// `parameters` of one "a=fmtp:" line without its earlier x-google pieces and with the three hints
// (kbit/s) at the end.
[[nodiscard]] QString rebuildFmtp(const QString& parameters, int minKbps, int startKbps, int maxKbps);

}  // namespace vantora::SdpTools
