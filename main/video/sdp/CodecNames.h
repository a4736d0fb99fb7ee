// Names of codecs and H.264 profiles as users and viewers write them.
//
// Pure, without state. Thread: any.
#pragma once

#include <QString>
#include <optional>

namespace vantora {

// An accepted preference: the codec's name as the SDP functions expect it; empty for "auto".
struct CodecChoice {
  std::optional<QString> name;
  bool operator==(const CodecChoice&) const = default;
};

// PREFERRED_CODEC, case-insensitive: one of h264, vp8, vp9, av1, av01 (an old name of av1) or auto. Empty for any other
// text, which leaves the setting unchanged.
[[nodiscard]] std::optional<CodecChoice> parsePreferredCodec(const QString& text);

// The "codec" field of a viewer's message: unlike the setting, an unknown text means auto.
[[nodiscard]] CodecChoice codecChoiceOfViewer(const QString& text);

// profile-level-id for `text`: the table's value for a profile name (case-insensitive), else `text` itself unchanged,
// so that a profile-level-id can be given directly.
[[nodiscard]] QString h264ProfileFor(const QString& text);
// Whether `profile`, which may be any text from a viewer, can be written into an offer: a short text of printable ASCII
// characters. Anything else would break the lines of the offer, or make it longer than a server accepts.
[[nodiscard]] bool fitsIntoOffer(const QString& profile);

}  // namespace vantora
