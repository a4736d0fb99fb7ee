// Finds values in an answer that would abort the WebRTC library. Heavy header (WebRTC library): include it in .cpp
// files only.
#pragma once

#include <api/jsep.h>

#include <cstddef>
#include <optional>
#include <string>

namespace vantora {

// Maximum of candidates accepted from one peer, in and after its answer. Honest peers have a handful of addresses.
inline constexpr std::size_t kMaxCandidates = 256;

// Checks an answer from the wire, already parsed by the library, for values on which the library's own checks abort the
// process. Removes invalid bit-rate parameters (x-google-...) of the codecs, and returns the error text of an answer
// that must not be applied at all: a negative message size limit, a video section without a video codec, too many
// candidates. Empty if the answer may be applied. Any thread.
[[nodiscard]] std::optional<std::string> makeHarmless(webrtc::SessionDescriptionInterface& answer);

}  // namespace vantora
