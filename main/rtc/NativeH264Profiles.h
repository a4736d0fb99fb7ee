// Restores the library's H.264 profiles in a rewritten offer.
#pragma once

#include <QString>

namespace vantora {

// `rewritten` with each format line whose H.264 profile differs from `offered`, the library's own text of the same
// offer, replaced by the line in `offered`: the library refuses a local description with a profile that it cannot
// decode itself, and the attempt leaves its connection unusable. The viewer still gets the rewritten offer; the codec
// used is the one in the viewer's answer. Texts with different numbers of lines are not the same offer: then
// `rewritten` is returned unchanged. Pure.
QString withNativeH264Profiles(const QString& offered, const QString& rewritten);

}  // namespace vantora
