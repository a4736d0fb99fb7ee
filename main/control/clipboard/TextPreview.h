// A few words of a text for the log.
#pragma once

#include <QString>

namespace vantora {

// `text` itself when a person would count fewer than 21 characters in it, else the first 20 and "...". Pure; takes no
// longer for a long text.
QString textPreview(const QString& text);

}  // namespace vantora
