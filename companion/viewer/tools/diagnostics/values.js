// Reads the values of a report. It was written by the host: a value of another type or out of range counts as missing.

const MAX_TEXT = 300;
const MAX_ROWS = 120;

// The section, or an empty one.
export function sectionOf(report, name) {
  const value = isObject(report) && Object.hasOwn(report, name) ? report[name] : null;
  return isObject(value) ? value : {};
}

export function isObject(value) {
  return typeof value === 'object' && value !== null && !Array.isArray(value);
}

// One line of text without control characters, or null.
export function textOf(value) {
  if (typeof value !== 'string') return null;
  const line = value
    .slice(0, MAX_TEXT)
    .replace(/[\p{Cc}\p{Zl}\p{Zp}\u202a-\u202e\u2066-\u2069]+/gu, ' ')
    .trim();
  if (!line) return null;
  return value.length > MAX_TEXT ? `${line}…` : line;
}

export function numberOf(value, min = 0, max = Number.MAX_SAFE_INTEGER) {
  return typeof value === 'number' && value >= min && value <= max ? value : null;
}

export function integerOf(value, min = 0, max = Number.MAX_SAFE_INTEGER) {
  return Number.isInteger(value) ? numberOf(value, min, max) : null;
}

export function flagOf(value) {
  return typeof value === 'boolean' ? value : null;
}

// The entries of an array that read(entry) makes something of, or null when it is none.
export function listOf(value, read) {
  if (!Array.isArray(value)) return null;
  return value
    .slice(0, MAX_ROWS)
    .map(read)
    .filter((entry) => entry !== null);
}

const STEP = 1024;
const UNITS = ['KB', 'MB', 'GB', 'TB', 'PB'];

// KiB as text, in the units that the host uses: "512 KB", "1.5 GB".
export function sizeText(kib) {
  let value = kib;
  let unit = 0;
  while (value >= STEP && unit < UNITS.length - 1) {
    value /= STEP;
    unit += 1;
  }
  return `${value.toFixed(unit === 0 ? 0 : 1)} ${UNITS[unit]}`;
}

// {total, used, free (KiB or null), freePct (or null)} of the root file system.
export function diskOf(report) {
  const storage = sectionOf(report, 'storage');
  const total = numberOf(storage.totalKB, 1);
  const free = numberOf(storage.availKB);
  const computed = total !== null && free !== null && free <= total ? (free / total) * 100 : null;
  return { total, free, used: numberOf(storage.usedKB), freePct: numberOf(storage.freePct, 0, 100) ?? computed };
}

// "open", "captive", "unknown" or another text: whether a login page is in front of the internet.
export function portalOf(report) {
  return textOf(sectionOf(sectionOf(report, 'network'), 'portal').status);
}

// "HTTPProxy : host:port, ..." as it is read by people, or null.
export function proxyText(value) {
  return textOf(value)?.replace(/(HTTPS?|SOCKS)Proxy : /g, '$1 ') ?? null;
}

// The updates that wait: [{name, text, security}], or null.
export function updatesOf(report) {
  return listOf(sectionOf(report, 'updates').available, (entry) => {
    const text = textOf(entry);
    if (text === null) return null;
    // apt: "name/suite version ...", dnf: "name version repository". Other package managers name no source.
    const [first, , repository = ''] = text.split(' ');
    const [name, suite] = first.split('/');
    return { name, text, security: /security/i.test(suite ?? repository) };
  });
}

// {recent: [{name, file, time}], repeat: [{name, count}], panics}; each null where the host cannot tell.
export function crashesOf(report) {
  const crashes = sectionOf(report, 'crashes');
  return {
    recent: listOf(crashes.recent, (crash) => {
      const name = textOf(crash?.name);
      return name === null ? null : { name, file: textOf(crash.file), time: textOf(crash.time) };
    }),
    repeat: listOf(crashes.repeat, (crash) => {
      const [name, count] = [textOf(crash?.name), integerOf(crash?.count, 1)];
      return name === null || count === null ? null : { name, count };
    }),
    panics: integerOf(crashes.kernelPanics),
  };
}

// The busiest processes: {byCpu: [{pid, name, share}], byMemory: [{pid, name, share, kib}]}; each null when missing.
export function processesOf(report) {
  const processes = sectionOf(report, 'processes');
  const read = (key) => (entry) => {
    const [pid, name, share] = [integerOf(entry?.pid), textOf(entry?.name), numberOf(entry?.[key], 0, 1e6)];
    return name === null ? null : { pid, name, share, kib: numberOf(entry.rssKB) };
  };
  return { byCpu: listOf(processes.topCPU, read('cpuPct')), byMemory: listOf(processes.topMem, read('memPct')) };
}

// "2026-11-22T18:03:01", in the host's own time, as it is read by people.
export function timeText(value) {
  return value !== null && /^\d{4}-\d{2}-\d{2}T\d{2}:\d{2}/.test(value) ? value.slice(0, 16).replace('T', ' ') : value;
}
