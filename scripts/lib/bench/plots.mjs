// Draws the runs in results.json: node plots.mjs DIRECTORY; writes *.svg beside it.
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { keyOf, names as systems, ordered, shown, stages } from './comparison.mjs';
import { drawing, legend, line, linear, logarithmic, panel, path, rect, text } from './svg.mjs';

const directory = process.argv[2];
const { runs = [] } = JSON.parse(readFileSync(join(directory, 'results.json'), 'utf8'));

const write = (name, svg) => writeFileSync(join(directory, `${name}.svg`), svg);
const linksOf = (chosen) => [...new Map(ordered(chosen).map((run) => [run.link, run.linkName]))];
const systemsOf = (chosen) => Object.keys(systems).filter((key) => chosen.some((run) => keyOf(run) === key));
const legendOf = (chosen, x, y) => legend(x, y, systemsOf(chosen).map((key) => [key, systems[key]]));

/// Lines in a panel for each link, three in a row: `points` gives those of a run.
function lines(title, chosen, { points, xTicks, yTicks, xRange, yRange }) {
  const links = linksOf(chosen);
  const [width, height, across] = [270, 180, Math.min(3, links.length)];
  const panels = links.map(([link, name], index) => {
    const x = 50 + (index % across) * (width + 50);
    const y = 90 + Math.floor(index / across) * (height + 60);
    const toX = linear(...xRange, x, x + width);
    const toY = linear(...yRange, y + height, y);
    const curves = ordered(chosen.filter((run) => run.link === link)).map((run) =>
      path(points(run).map(([at, value]) => [toX(Math.min(at, xRange[1])), toY(Math.min(Math.max(value, yRange[0]), yRange[1]))]), keyOf(run)));
    return panel({ x, y, width, height, title: name, xTicks, yTicks, toX, toY }) + curves.join('');
  });
  const rows = Math.ceil(links.length / across);
  return drawing(Math.max(across * (width + 50) + 30, 640), 90 + rows * (height + 60), title, legendOf(chosen, 50, 56) + panels.join(''));
}

/// A row for each run: a thin line from median to the longest, a thick one to the 95th of 100, a dot at the median.
function ranges(title, chosen, distributionOf) {
  const [left, width, step] = [190, 560, 22];
  const toX = logarithmic(3, 10000, left, left + width);
  const bottom = 60 + chosen.length * step;
  const ticks = [3, 10, 30, 100, 300, 1000, 3000, 10000].map((ms) => line(toX(ms), 50, toX(ms), bottom) +
    text(toX(ms), bottom + 16, ms < 1000 ? `${ms} ms` : `${ms / 1000} s`, { anchor: 'middle', kind: 'soft' }));
  const rows = ordered(chosen).map((run, index) => {
    const { p50, p95, max, missed } = distributionOf(run);
    const [y, key] = [66 + index * step, keyOf(run)];
    const stroke = (thickness) => `stroke="var(--${key})" stroke-width="${thickness}" stroke-linecap="round"`;
    return text(left - 10, y + 4, `${systems[key]}, ${run.linkName}`, { anchor: 'end' }) +
      line(toX(p50), y, toX(Math.min(max, 10000)), y, stroke(2)) + line(toX(p50), y, toX(Math.min(p95, 10000)), y, stroke(7)) +
      `<circle cx="${toX(p50).toFixed(1)}" cy="${y}" r="5" fill="var(--ground)" stroke="var(--${key})" stroke-width="2.5"/>` +
      (missed ? text(left + width + 8, y + 4, `${missed} missed`, { kind: 'soft' }) : '');
  });
  return drawing(left + width + 90, bottom + 34, title, ticks.join('') + rows.join(''));
}

/// Stacked bars of the medians of each stage.
function stacks(title, chosen) {
  const rows = ordered(chosen).flatMap((run) =>
    ['still', 'scroll'].filter((phase) => run[phase]?.stages).map((phase) => [run, phase, run[phase].stages]));
  const [left, width, step] = [250, 500, 22];
  const parts = Object.keys(stages);
  const sum = (found) => parts.reduce((total, name) => total + Math.max(0, found[name]?.p50 ?? 0), 0);
  const most = Math.max(20, ...rows.map(([, , found]) => sum(found)));
  const scale = linear(0, most, 0, width);
  const bars = rows.map(([run, phase, found], index) => {
    const y = 76 + index * step;
    let x = left;
    const pieces = parts.map((name, stage) => {
      const long = scale(Math.max(0, found[name]?.p50 ?? 0));
      x += long;
      return rect(x - long, y, long - 1, 14, `stage${stage}`);
    });
    const label = `${systems[keyOf(run)]}, ${run.linkName}, ${phase === 'still' ? 'still' : 'scrolling'}`;
    return text(left - 10, y + 11, label, { anchor: 'end' }) +
      pieces.join('') + text(x + 6, y + 11, `${shown(sum(found))} ms`, { kind: 'soft' });
  });
  const names = Object.values(stages).map((name, index) => [`stage${index}`, name]);
  return drawing(left + width + 90, 90 + rows.length * step, title, legend(16, 54, names) + bars.join(''));
}

/// Two bars for each run: processor and wire.
function costs(title, chosen) {
  const [left, width, step] = [190, 250, 22];
  const panels = [['% of a core', (run) => run.scroll.cpu, 200], ['Mbit/s on the wire', (run) => run.scroll.mbps, 100]];
  const bars = panels.flatMap(([name, value, most], column) => {
    const x = left + column * (width + 90);
    const scale = linear(0, most, 0, width);
    return [text(x, 54, name), ...ordered(chosen).map((run, index) => {
      const y = 66 + index * step;
      const long = scale(Math.min(most, value(run)));
      return (column === 0 ? text(left - 10, y + 11, `${systems[keyOf(run)]}, ${run.linkName}`, { anchor: 'end' }) : '') +
        rect(x, y, long, 14, keyOf(run), 'rx="2"') + text(x + long + 6, y + 11, shown(value(run)), { kind: 'soft' });
    })];
  });
  return drawing(left + 2 * width + 200, 84 + chosen.length * step, title, bars.join(''));
}

const scrolled = runs.filter(({ scroll }) => scroll);
const common = scrolled.filter(({ link }) => ['none', '2mbit', '1mbit'].includes(link));
if (scrolled.length > 0) {
  const seconds = Math.max(...scrolled.map(({ scroll }) => scroll.frames.seconds.length));
  write('frames', lines('Frames shown in each second of scrolling', common, {
    points: ({ scroll }) => scroll.frames.seconds.map((count, index) => [index + 1, count]),
    xRange: [1, seconds], yRange: [0, 62], xTicks: [1, Math.ceil(seconds / 2), seconds].map((at) => [at, `${at} s`]), yTicks: [0, 15, 30, 45, 60].map((at) => [at, at]) }));
  write('latency-scrolling', ranges('From a change to its image while the page scrolls: median, 95th of 100, longest', scrolled, ({ scroll }) => scroll.changes));
  write('cost', costs('What scrolling costs', scrolled));
}
const standing = runs.filter(({ still }) => still);
if (standing.length > 0) write('latency-still', ranges('From a change to its image on a page that stands still: median, 95th of 100, longest', standing, ({ still }) => still.changes));
const sharpened = runs.filter(({ page }) => page?.curve?.length > 0);
if (sharpened.length > 0) {
  write('sharpness', lines('How soon a new page is sharp: luma PSNR', sharpened, {
    points: ({ page }) => page.curve.map(([ms, dB]) => [ms / 1000, dB]),
    xRange: [0, 6], yRange: [10, 50], xTicks: [0, 2, 4, 6].map((at) => [at, `${at} s`]), yTicks: [10, 20, 30, 40, 50].map((at) => [at, `${at} dB`]) }));
}
const staged = runs.filter(({ still, scroll }) => still?.stages || scroll?.stages);
if (staged.length > 0) write('budget', stacks('Where the time of a change goes: the median of each stage', staged));
