#pragma once

#include <api/async_resolver_factory.h>

#include <memory>

namespace vantora {

// Resolves the host names that a viewer's ICE candidates may contain instead of addresses (browsers hide theirs behind
// names ending in ".local"). A viewer may send any number of them, and one lookup can block for half a minute: only a
// few run at once, and further names count as unknown. That does no harm, because the viewer's own connectivity checks
// still reach the host. Lookups run on detached threads; used on the library's network thread.
[[nodiscard]] std::unique_ptr<webrtc::AsyncResolverFactory> makeBoundedCandidateResolver();

}  // namespace vantora
