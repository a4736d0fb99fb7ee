// Waiting for what must become true, never for time to pass.

/// Calls `probe` until it returns something truthy and returns that; fails after `deadline` ms, saying what was
/// missing. The deadline is a timeout for a busy machine, not a limit that a test checks: for that a test measures with
/// timed().
export async function until(probe, { deadline = 30000, every = 20, what = probe.toString() } = {}) {
  let waited = 0;
  let at = performance.now();
  let last;
  for (;;) {
    try {
      const value = await probe();
      if (value) return value;
      last = undefined;
    } catch (error) {
      last = error;
    }
    const now = performance.now();
    // While the whole machine is stalled, what is waited for cannot proceed either: a probe and the pause after it
    // count as one second at most.
    waited += Math.min(now - at, 1000);
    at = now;
    if (waited > deadline) {
      throw new Error(`waited ${deadline} ms in vain for ${what}${last ? `: ${last.message}` : ''}`);
    }
    await new Promise((resolve) => setTimeout(resolve, every));
  }
}

/// Milliseconds that `action` took, and what it returned.
export async function timed(action) {
  const start = performance.now();
  const value = await action();
  return { ms: Math.round(performance.now() - start), value };
}

/// The shortest of up to `tries` measurements, each the milliseconds that `measure` resolves to; the first one below
/// `limit` ends them. A busy machine delays some of them, a slow program all.
export async function soonest(limit, measure, tries = 4) {
  const times = [];
  do times.push(await measure(times.length)); while (Math.min(...times) >= limit && times.length < tries);
  return Math.min(...times);
}

/// The middle one of some measurements; of an even number the longer one of the two.
export function median(values) {
  return [...values].sort((a, b) => a - b)[values.length >> 1];
}
