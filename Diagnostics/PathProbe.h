#pragma once

#include <QString>
#include <QStringList>
#include <chrono>
#include <functional>

namespace vantora::Diagnostics {

// Tells whether something is at a path. May block for ever: that is what a network folder does whose server is gone.
using Look = std::function<bool(const QString& path)>;

// How long one file system is waited for.
inline constexpr std::chrono::milliseconds kProbeTimeout{1000};

// Those of `paths` that are there and whose file systems say so by `deadline`, at most kProbeTimeout from now, in their
// order. All are looked at side by side, on threads that are left behind when they do not come back; while one does
// not, its path is never looked at again, so that there is one such thread for each path. Any thread, several at once.
[[nodiscard]] QStringList answering(const QStringList& paths, const Look& look,
                                    std::chrono::steady_clock::time_point deadline);

}  // namespace vantora::Diagnostics
