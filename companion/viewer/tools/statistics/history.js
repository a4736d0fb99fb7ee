// The last ten minutes of the host's and the stream's figures, a value a second.

export const HISTORY_SECONDS = 600;

// The host's figures are sent several times a second; older ones say nothing about this second.
const OLDEST_SYSTEM_MS = 3000;
const MAX_PROCESSES = 32;
const MAX_NAME = 120;

// Values in the order of their seconds, the newest last. A second without a value is a gap (NaN).
export class Ring {
  #values = new Float64Array(HISTORY_SECONDS).fill(NaN);
  #next = 0;

  push(value) {
    this.#values[this.#next] = Number.isFinite(value) ? value : NaN;
    this.#next = (this.#next + 1) % HISTORY_SECONDS;
  }

  // The last `count` values, oldest first.
  last(count) {
    return Array.from({ length: count }, (_, at) => this.#values[(this.#next - count + at + HISTORY_SECONDS) % HISTORY_SECONDS]);
  }
}

// What is kept: the name of a series, and its value in {sys, figures}.
const SERIES = {
  cpu: ({ sys }) => sys?.cpuPct,
  memory: ({ sys }) => (sys?.memTotalBytes > 0 ? (100 * sys.memUsedBytes) / sys.memTotalBytes : NaN),
  networkIn: ({ sys }) => sys?.netRxKbps,
  networkOut: ({ sys }) => sys?.netTxKbps,
  disk: ({ sys }) => sys?.disk?.usedPct,
  rate: ({ figures }) => figures?.kbps,
  frames: ({ figures }) => figures?.fps,
  roundTrip: ({ figures }) => figures?.roundTripMs,
  decode: ({ figures }) => figures?.decodeMs,
  delay: ({ figures }) => figures?.delayMs,
  loss: ({ figures }) => figures?.lossPct,
};

export class History {
  #rings = Object.fromEntries(Object.keys(SERIES).map((name) => [name, new Ring()]));
  #recordedAt = null;

  // One second's {sys, figures}; either may be null. `now` in ms: seconds since the last call that had none are gaps.
  record(sample, now) {
    const passed = this.#recordedAt === null ? 1 : Math.round((now - this.#recordedAt) / 1000);
    this.#recordedAt = now;
    for (let missing = Math.min(passed - 1, HISTORY_SECONDS); missing > 0; missing--) this.#push({});
    this.#push(sample);
  }

  values(name, seconds) {
    return this.#rings[name].last(Math.min(seconds, HISTORY_SECONDS));
  }

  #push(sample) {
    for (const [name, value] of Object.entries(SERIES)) this.#rings[name].push(value(sample));
  }
}

// The machine's figures of a "host_stats": numbers that are numbers, texts of bounded length. Pure.
export function systemOf(sys) {
  if (typeof sys !== 'object' || sys === null) return null;
  const kept = {};
  for (const key of ['cpuPct', 'memTotalBytes', 'memUsedBytes', 'netRxKbps', 'netTxKbps']) {
    if (usable(sys[key])) kept[key] = sys[key];
  }
  const { usedPct, totalBytes, usedBytes } = sys.disk ?? {};
  if (usable(usedPct)) kept.disk = { usedPct, totalBytes: usable(totalBytes) ? totalBytes : null, usedBytes: usable(usedBytes) ? usedBytes : null };
  const top = Array.isArray(sys.top) ? sys.top.slice(0, MAX_PROCESSES) : [];
  kept.top = top.filter((each) => Number.isSafeInteger(each?.pid) && typeof each.name === 'string').map(processOf);
  return kept;
}

function processOf({ pid, name, cpuPct, rssBytes, exe }) {
  return {
    pid,
    name: name.slice(0, MAX_NAME),
    cpuPct: usable(cpuPct) ? cpuPct : null,
    rssBytes: usable(rssBytes) ? rssBytes : null,
    exe: typeof exe === 'string' ? exe.slice(0, 4 * MAX_NAME) : '',
  };
}

function usable(value) {
  return Number.isFinite(value) && value >= 0;
}

// The smallest, largest and newest of a series; null where it has none. Pure.
export function summaryOf(values) {
  const known = values.filter((value) => !Number.isNaN(value));
  if (known.length === 0) return null;
  const newest = values.at(-1);
  return { min: Math.min(...known), max: Math.max(...known), now: Number.isNaN(newest) ? null : newest };
}

// Fills the history from the page's start on, so that the panel has a past when it is opened.
export class Statistics {
  history = new History();
  // The newest figures, or null while there are none.
  sys = null;
  figures = null;
  #sysAt = -Infinity;
  #listeners = new Set();

  constructor(app) {
    app.on('message', ({ type, sys }) => {
      if (type !== 'host_stats') return;
      this.sys = systemOf(sys);
      this.#sysAt = performance.now();
    });
    app.on('figures', (figures) => {
      const now = performance.now();
      if (!figures || now - this.#sysAt > OLDEST_SYSTEM_MS) this.sys = null;
      this.figures = figures;
      this.history.record({ sys: this.sys, figures }, now);
      for (const listener of this.#listeners) listener();
    });
  }

  // Calls listener() once a second.
  onSecond(listener) {
    this.#listeners.add(listener);
  }
}
