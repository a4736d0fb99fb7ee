// Input on an X server through its test extension.
#pragma once

#include <QString>
#include <memory>

#include "platform/InputSynthesis.h"

namespace vantora {

// Input on the X server `displayName` (empty: the DISPLAY variable). The server need not be there
// yet; one that went away is looked for again at the next call. Main thread.
//
// Pointer and wheel events cost one write and no round trip, key events one round trip.
std::unique_ptr<InputSynthesis> makeX11InputSynthesis(const QString& displayName);

}  // namespace vantora
