// Waiting for what must become true, never for time to pass.

/// Calls `probe` until it returns something truthy and returns that; fails after `deadline` ms, saying what was missing.
export async function until(probe, { deadline = 5000, every = 20, what = probe.toString() } = {}) {
  const end = performance.now() + deadline;
  let last;
  for (;;) {
    try {
      const value = await probe();
      if (value) return value;
      last = undefined;
    } catch (error) {
      last = error;
    }
    if (performance.now() > end) {
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
