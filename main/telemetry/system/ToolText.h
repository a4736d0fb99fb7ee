// Parses figures from the output of system tools: "ps", "vm_stat", "df" and "netstat". Linux's own figures come from
// the kernel's files; these are for collectors of a system that has the tools.
#pragma once

#include <functional>

#include "main/telemetry/system/SystemFigures.h"

namespace vantora::tooltext {

// All pure. Empty when the text cannot be parsed; numbers are in the C locale.

// The sum of all processes' shares of one processor, as the share of all `processors` (at least 1 is taken).
[[nodiscard]] std::optional<double> parseCpuPercent(const QString& text, int processors);

// Free and speculative pages of "vm_stat", taken from `totalBytes`. Missing lines count as no free pages; pages are
// 4096 bytes when the text gives no size; usedBytes is 0 when more is free than exists.
[[nodiscard]] MemoryFigures parseMem(const QString& text, quint64 totalBytes);

// The line of "df -k" for one volume: at least six fields.
[[nodiscard]] std::optional<DiskFigures> parseDisk(const QString& line);

// Two numbers, received and sent.
[[nodiscard]] std::optional<NetworkTotals> parseNetTotals(const QString& text);

using ApplicationLookup = std::function<std::optional<RunningApplication>(qint32 pid)>;
// Lines of "ps" after a header: process id, command, resident KiB, share of a processor. The command may hold blanks.
// Lines with fewer fields, or with an id or size that is not a valid number, are skipped.
[[nodiscard]] std::vector<ProcessFigures> parseTop(const QString& text, const ApplicationLookup& lookup);

}  // namespace vantora::tooltext
