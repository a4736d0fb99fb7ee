#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// Small pieces the parsers of tool output share. Pure functions, any thread.
namespace vantora::Diagnostics {

// The lines of a text, trimmed, empty ones left out.
[[nodiscard]] QStringList trimmedLines(const QString& text);
// What stands between white space, empty pieces left out.
[[nodiscard]] QStringList words(const QString& text);
[[nodiscard]] QString lastPathComponent(const QString& path);
// Whole decimal numbers and finite floating-point numbers in the C locale; nothing else is one.
[[nodiscard]] std::optional<qint64> toInteger(const QString& text);
[[nodiscard]] std::optional<double> toNumber(const QString& text);
// The digits (with an optional sign) at the start of a text, white space before them skipped.
[[nodiscard]] std::optional<qint64> leadingInteger(const QString& text);
// Undoes backslash escapes in which \xNN is a byte of UTF-8 and any other character stands for itself.
[[nodiscard]] QString unescaped(const QString& text);
// To one decimal, halves away from zero.
[[nodiscard]] double roundedToTenth(double value);

}  // namespace vantora::Diagnostics
