// The tables that compare the runs of bench/session/scroll.mjs and peers.mjs, as rows of cells.

/// Names of systems as a reader knows them, in the order of tables and plots.
export const names = {
  h264: 'H.264', vp8: 'VP8', vp9: 'VP9', av1: 'AV1', x0vncserver: 'x0vncserver', x11vnc: 'x11vnc', gstreamer: 'GStreamer VP8',
};

/// The key of a run in `names`.
export const keyOf = ({ system, codec }) => (system === 'vantora' ? codec : system);

/// Runs in the order of tables: by link, then by system.
export function ordered(runs) {
  const links = ['none', '4mbit', '2mbit', '1mbit', '500kbit', 'loss1', 'loss5'];
  const keys = Object.keys(names);
  return [...runs].sort((a, b) => links.indexOf(a.link) - links.indexOf(b.link) || keys.indexOf(keyOf(a)) - keys.indexOf(keyOf(b)));
}

export function shown(value) {
  // JSON has no infinity.
  if (value === null || value === undefined) return '–';
  return Math.abs(value) >= 99.5 ? value.toFixed(0) : Number(value.toPrecision(2)).toString();
}

const list = (...values) => values.map(shown).join(' / ');
const times = (changes) => (changes ? list(changes.p50, changes.p95, changes.max) : '–');
const missed = (changes) => (changes ? `${changes.missed} of ${changes.n}` : '–');
const page = ({ page }) => {
  if (!page) return '–';
  const until = (ms) => (ms === null ? `> ${(page.limit / 1000).toFixed(0)}` : (ms / 1000).toFixed(1));
  return 'toExact' in page ? `${until(page.toExact)} (exact)` : `${until(page.to30dB)} / ${until(page.to40dB)}`;
};

export function scrolling(runs) {
  const head = ['link', 'system', 'frames a second', 'fewest in a second', 'gap p95 / longest, ms', 'change p50 / p95 / longest, ms', 'missed',
    '% of a core', 'Mbit/s'];
  const rows = ordered(runs.filter(({ scroll }) => scroll)).map((run) => {
    const { frames, changes, cpu, mbps } = run.scroll;
    return [run.linkName, names[keyOf(run)], shown(frames.fps), shown(Math.min(...frames.seconds)), list(frames.gaps.p95, frames.gaps.max),
      times(changes), missed(changes), shown(cpu), shown(mbps)];
  });
  return [head, ...rows];
}

export function standing(runs) {
  const head = ['link', 'system', 'change p50 / p95 / longest, ms', 'missed', 'PSNR 1 s / 3 s after scrolling, dB', 'new page 30 / 40 dB after, s',
    '% of a core at rest', 'memory, MiB'];
  const rows = ordered(runs).map((run) => [run.linkName, names[keyOf(run)], times(run.still?.changes), missed(run.still?.changes),
    run.scroll?.sharpness ? list(run.scroll.sharpness.after1s, run.scroll.sharpness.after3s) : '–', page(run), shown(run.rest?.cpu),
    shown(run.rest?.memory.rss)]);
  return [head, ...rows];
}

/// Stages of a change, in their order, and what they are.
export const stages = {
  capture: 'captured, converted', wait: 'wait for the encoder', encoding: 'encoded', pacing: 'sent', link: 'on the link', decoding: 'decoded',
  display: 'shown',
};

export function budgets(runs) {
  const head = ['link', 'system', 'page', ...Object.values(stages), 'whole'];
  const rows = ordered(runs).flatMap((run) => ['still', 'scroll'].filter((phase) => run[phase]?.stages).map((phase) => {
    const cell = (stage) => list(stage?.p50, stage?.p95);
    const found = run[phase].stages;
    return [run.linkName, names[keyOf(run)], phase === 'still' ? 'still' : 'scrolling', ...Object.keys(stages).map((name) => cell(found[name])), cell(found.whole)];
  }));
  return [head, ...rows];
}

/// Rows as a table of Markdown; one that is padded reads well on a terminal, too.
export function markdown(rows, { padded = true } = {}) {
  const widths = rows[0].map((_, index) => (padded ? Math.max(...rows.map((row) => row[index].length)) : 0));
  const line = (row) => `| ${row.map((cell, index) => cell.padEnd(widths[index])).join(' | ')} |`;
  const rule = `|${widths.map((width) => '-'.repeat(padded ? width + 2 : 3)).join('|')}|`;
  return [line(rows[0]), rule, ...rows.slice(1).map(line)].join('\n');
}
