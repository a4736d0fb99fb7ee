// The beginning of a text for the log.
#pragma once

#include <QString>

namespace vantora {

// `text` itself when it has fewer than 21 characters as a person counts them, else the first 20 and "...". Pure; the
// time does not depend on the length of the text.
QString textPreview(const QString& text);

}  // namespace vantora
