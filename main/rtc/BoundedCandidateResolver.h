#pragma once

#include <api/async_resolver_factory.h>

#include <memory>

namespace vantora {

// Looks up the names that a viewer's ICE candidates may hold instead of addresses (browsers hide theirs behind names
// ending in ".local"). A viewer may send as many as it likes, and one lookup can hang for half a minute: no more than
// a few run at once, and further names count as unknown, which costs nothing, as the viewer's own checks still reach
// the host. Lookups run on threads of their own that no one waits for; used on the library's network thread.
[[nodiscard]] std::unique_ptr<webrtc::AsyncResolverFactory> makeBoundedCandidateResolver();

}  // namespace vantora
