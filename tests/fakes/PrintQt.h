// Readable Qt texts in test failures.
#pragma once

#include <QString>
#include <ostream>

// Found by GoogleTest in the namespace of the type.
inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
