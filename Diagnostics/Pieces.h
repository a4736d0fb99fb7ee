#pragma once

#include <QJsonObject>
#include <chrono>
#include <vector>

#include "Diagnostics/Collector.h"

namespace vantora::Diagnostics {

// How much longer than its deadline, or a request to stop, a report may take: commands are killed in that time.
inline constexpr std::chrono::milliseconds kEndGrace{700};
// How long the pieces that come first may keep the others waiting.
inline constexpr std::chrono::milliseconds kFirstTimeout{2500};
// Threads at work for all reports together, those included that the kernel does not let go. No report starts more.
inline constexpr int kMostThreads = 24;

// Runs pieces of a report on a few threads of low priority; the results stand in the order of the pieces. A piece that
// has not come back when the report is over stays empty, and its thread is left behind with all that it touches.
// Blocks; any thread, several at once.
[[nodiscard]] std::vector<QJsonObject> collectPieces(const Options& options, const std::vector<Collector>& pieces);

}  // namespace vantora::Diagnostics
