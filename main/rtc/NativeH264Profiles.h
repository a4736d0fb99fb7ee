// The library's own H.264 profiles in an offer that was rewritten.
#pragma once

#include <QString>

namespace vantora {

// `rewritten` with each format line that names another H.264 profile than in `offered` as it stands there, the
// library's own text of the same offer: the library takes no local description with a profile that it cannot decode
// itself, and an attempt leaves its connection unusable. What the viewer reads stays rewritten; the codec in use is
// what the viewer answers. Texts with different numbers of lines are not the same offer: then `rewritten` comes back as
// it is. Pure.
QString withNativeH264Profiles(const QString& offered, const QString& rewritten);

}  // namespace vantora
