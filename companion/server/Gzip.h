// Compressed bodies of HTTP responses.
#pragma once

#include <QByteArray>

namespace vantora::companion {

// `data` in the gzip format, or empty when it cannot be compressed. Pure.
QByteArray gzip(const QByteArray& data);

}  // namespace vantora::companion
