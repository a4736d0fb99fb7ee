#pragma once

#include <QJsonObject>
#include <chrono>
#include <vector>

#include "Diagnostics/Collector.h"

namespace vantora::Diagnostics {

// How long a report may take after its deadline or a stop request: commands are killed in that time.
inline constexpr std::chrono::milliseconds kEndGrace{700};
// How long the pieces that run first may delay the others.
inline constexpr std::chrono::milliseconds kFirstTimeout{2500};
// Maximum of threads of all reports together, including those that are blocked in the kernel. No report starts more.
inline constexpr int kMaxThreads = 24;

// Runs pieces of a report on a few threads of low priority; the results are in the order of the pieces. The result of a
// piece that has not returned when the report ends is empty, and its thread is abandoned together with all that it
// uses. Blocks; any thread, several at once.
[[nodiscard]] std::vector<QJsonObject> collectPieces(const Options& options, const std::vector<Collector>& pieces);

}  // namespace vantora::Diagnostics
