// Splits long texts into pieces that each fit into a message.
#pragma once

#include <QList>
#include <QStringView>

namespace vantora {

// Upper bound of the bytes that `text` takes inside a JSON string. Pure.
qint64 jsonLength(QStringView text);

// Splits `text` into pieces of at most `maximum` bytes each inside a JSON string (a single character may take more),
// never between the halves of a surrogate pair. Returns the end of each piece, in UTF-16 units; empty for the empty
// text. Pure.
QList<qsizetype> pieceEnds(QStringView text, qint64 maximum);

}  // namespace vantora
