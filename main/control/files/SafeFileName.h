// Names under which files from the viewer may lie in the download folder.
#pragma once

#include <QByteArray>
#include <QString>

namespace vantora {

// The longest name, in bytes of UTF-8, that the file systems take.
inline constexpr qsizetype kMaxFileNameBytes = 255;

// The UTF-8 name for a file that the viewer calls `name`: that name itself wherever it can be one. Otherwise
// separators ('/' and '\'), control characters, invisible characters that change the order of what is shown, halves of
// characters and leading dots become '_', a name without anything visible becomes "file", and one that is too long
// loses the end of what stands before its extension. The result is never empty, "." or "..", holds no separator and no
// zero byte, and has at most kMaxFileNameBytes bytes. Pure.
QByteArray safeFileName(const QString& name);

// The longest name, in bytes, that a file system takes which stores names in more bytes than it is given, as encrypted
// home directories do.
inline constexpr qsizetype kMaxPlainNameBytes = 140;

// What becomes of `name`, a result of safeFileName() or nextFileName(), on a file system that refused it: ':', '?',
// '*', '"', '<', '>', '|' and blanks and dots at its end become '_', and it has at most kMaxPlainNameBytes bytes. Pure.
QByteArray plainFileName(const QByteArray& name);

// The name to try after `previous` (a result of one of these functions) turned out to be taken: " (n)" stands
// before the extension, so that repeated calls pile the suffixes up: "a.txt", "a (1).txt", "a (1) (2).txt". Where the
// length would not do, at most `limit` bytes, the end of what stands before the new suffix goes. Pure.
QByteArray nextFileName(const QByteArray& previous, int n, qsizetype limit = kMaxFileNameBytes);

}  // namespace vantora
