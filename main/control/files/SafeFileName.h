// Safe names for the viewer's files in the download folder.
#pragma once

#include <QByteArray>
#include <QString>

namespace vantora {

// Maximum length of a file name, in bytes of UTF-8.
inline constexpr qsizetype kMaxFileNameBytes = 255;

// The UTF-8 file name for the viewer's `name`: that name itself where it is valid. Otherwise separators ('/' and '\'),
// control characters, invisible characters that change the display order, unpaired surrogates and leading dots become
// '_', a name without visible characters becomes "file", and one that is too long is shortened before its extension.
// The result is never empty, "." or "..", has no separator and no zero byte, and has at most kMaxFileNameBytes bytes.
// Pure.
QByteArray safeFileName(const QString& name);

// Maximum length of a name, in bytes, on a file system that stores names in a longer form, as encrypted home
// directories do.
inline constexpr qsizetype kMaxPlainNameBytes = 140;

// The form of `name`, a result of safeFileName() or nextFileName(), for a file system that refused it: ':', '?', '*',
// '"', '<', '>', '|' and blanks and dots at its end become '_', and it has at most kMaxPlainNameBytes bytes. Pure.
QByteArray plainFileName(const QByteArray& name);

// The name to try after `previous` (a result of one of these functions) turned out to exist: " (n)" is inserted before
// the extension, so that repeated calls accumulate suffixes: "a.txt", "a (1).txt", "a (1) (2).txt". The part before the
// new suffix is shortened to keep within `limit` bytes. Pure.
QByteArray nextFileName(const QByteArray& previous, int n, qsizetype limit = kMaxFileNameBytes);

}  // namespace vantora
