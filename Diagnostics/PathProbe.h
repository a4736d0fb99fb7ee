#pragma once

#include <QString>
#include <QStringList>
#include <chrono>
#include <functional>

namespace vantora::Diagnostics {

// Whether a path exists. May block indefinitely, as a network file system does whose server is gone.
using PathCheck = std::function<bool(const QString& path)>;

// Time limit for the response of one file system.
inline constexpr std::chrono::milliseconds kProbeTimeout{1000};

// Those of `paths` that exist and whose file systems respond by `deadline`, at most kProbeTimeout from now, in their
// order. All are checked in parallel, on threads that are abandoned when they do not return. While a thread has not
// returned, its path is not checked again, so that there is at most one such thread for each path. Any thread, several
// at once.
[[nodiscard]] QStringList answering(const QStringList& paths, const PathCheck& check,
                                    std::chrono::steady_clock::time_point deadline);

}  // namespace vantora::Diagnostics
