// What the WebRTC library would not survive in an answer. A heavy header: include it in .cpp files only.
#pragma once

#include <api/jsep.h>

#include <cstddef>
#include <optional>
#include <string>

namespace vantora {

// Candidates of one peer that are taken, in and after its answer. Honest ones have a handful of addresses.
inline constexpr std::size_t kMostCandidates = 256;

// Looks through an answer from the wire, parsed by the library, whose own checks of what follows end the process.
// Takes out of the codecs' parameters those that set the sender's bit rate to something that is none (x-google-...),
// and says why an answer must not be applied at all: a limit for messages below zero, a picture without a codec that
// carries one, too many candidates. Any thread.
[[nodiscard]] std::optional<std::string> makeHarmless(webrtc::SessionDescriptionInterface& answer);

}  // namespace vantora
