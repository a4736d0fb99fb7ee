// What a series of measurements says, more than one figure.

/// The value below which `part` (0 to 1) of `values` lie.
export function share(values, part = 0.5) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * part))];
}

/// {n, p50, p95, max} of some numbers; null when there are none.
export function distribution(values) {
  if (values.length === 0) return null;
  return { n: values.length, p50: share(values), p95: share(values, 0.95), max: Math.max(...values) };
}

/// What is known of the times (ms) until changes were seen, with null for those that never were: their distribution, and
/// how many were missed, that is not seen within `limit`. One that never was counts as `limit`.
export function latencies(times, limit) {
  return { ...distribution(times.map((ms) => ms ?? limit)), missed: times.filter((ms) => ms === null || ms > limit).length, limit, times };
}

/// Frames of a period [from, to) (ms): how many in each whole second, and the gaps between them, the one that the
/// period's end cuts off included. `times`: when each was shown.
export function pace(times, from, to) {
  const shown = times.filter((at) => at >= from && at < to).sort((a, b) => a - b);
  const seconds = Array(Math.floor((to - from) / 1000)).fill(0);
  for (const at of shown) {
    const second = Math.floor((at - from) / 1000);
    if (second < seconds.length) seconds[second]++;
  }
  const edges = [from, ...shown, to];
  const gaps = edges.slice(1).map((at, index) => at - edges[index]);
  return { fps: (shown.length * 1000) / (to - from), seconds, gaps: distribution(gaps) };
}
