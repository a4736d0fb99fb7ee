// A program that is started from memory.
#pragma once

#include <QByteArrayView>
#include <QString>

namespace vantora {

// Puts `image`, an executable file, into a file without a name that lives as long as this process. Returns the path by
// which this process and its children can start it; empty where the system permits no such files. `name` is shown in
// lists of processes. Call once for each program.
QString programInMemory(QByteArrayView image, const char* name);

}  // namespace vantora
