// Names of codecs and H.264 profiles as users and viewers write them.
//
// Purpose: pure look-ups. Thread: any. Owner: none, there is no state.
#pragma once

#include <QString>
#include <optional>

namespace vantora {

// An accepted wish: the codec's name as the SDP functions want it, or none for "auto".
struct CodecChoice {
  std::optional<QString> name;
  bool operator==(const CodecChoice&) const = default;
};

// PREFERRED_CODEC, in any case: one of h264, vp8, vp9, av1, av01 (an old name of av1) or auto. None
// for any other text, which leaves the setting as it was.
[[nodiscard]] std::optional<CodecChoice> parsePreferredCodec(const QString& text);

// The "codec" field of a viewer's message: unlike the setting, an unknown text means auto.
[[nodiscard]] CodecChoice codecChoiceOfViewer(const QString& text);

// profile-level-id for `text`: the table's value for a profile name in any case, else `text` itself
// exactly as given, so that a profile-level-id can be named directly.
[[nodiscard]] QString h264ProfileFor(const QString& text);
// Whether `profile`, which may be any text of a viewer, can be written into an offer: a short text of printable ASCII
// characters. Anything else would break the lines of the offer, or make it longer than a server takes.
[[nodiscard]] bool fitsIntoOffer(const QString& profile);

}  // namespace vantora
