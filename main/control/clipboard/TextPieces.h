// Long texts in pieces that each fit into a message.
#pragma once

#include <QList>
#include <QStringView>

namespace vantora {

// Bytes that `text` takes inside a JSON string, at most. Pure.
qint64 jsonLength(QStringView text);

// Cuts `text` into pieces that take `most` bytes each inside a JSON string, at most (a single character may take more),
// and never cuts between the halves of a surrogate pair. Returns where each piece ends, in UTF-16 units; nothing for
// the empty text. Pure.
QList<qsizetype> pieceEnds(QStringView text, qint64 most);

}  // namespace vantora
