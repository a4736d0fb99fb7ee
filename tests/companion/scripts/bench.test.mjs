// How the benchmarks turn what they measured into figures, tables and plots.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readFile, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { budget, timing } from '../../../bench/session/lib/budget.mjs';
import { distribution, latencies, pace } from '../../../bench/session/lib/distribution.mjs';
import { root, temporaryDirectory } from '../../e2e/lib/paths.mjs';

const near = (value, wanted) => assert.ok(Math.abs(value - wanted) < 1e-6, `${value} instead of ${wanted}`);

test('aDistributionHasItsMedianAndItsTail', () => {
  const values = Array.from({ length: 100 }, (_, index) => 100 - index);
  assert.deepEqual(distribution(values), { n: 100, p50: 51, p95: 96, max: 100 });
  assert.equal(distribution([]), null);
});

test('aChangeThatCameTooLateOrNeverIsMissed', () => {
  const { p50, max, missed, n } = latencies([10, 20, 2500, null], 2000);
  assert.deepEqual({ p50, max, missed, n }, { p50: 2000, max: 2500, missed: 2, n: 4 });
});

test('framesAreCountedBySecondAndGapsReachToTheEnd', () => {
  const times = [900, 1000, 1500, 2100, 2200, 2900, 4100];
  const { fps, seconds, gaps } = pace(times, 1000, 4000);
  near(fps, 5 / 3);
  assert.deepEqual(seconds, [2, 3, 0]);
  assert.equal(gaps.max, 1100);
});

test('aPeriodWithoutFramesIsOneGap', () => {
  const { fps, seconds, gaps } = pace([], 0, 2000);
  assert.deepEqual({ fps, seconds, longest: gaps.max }, { fps: 0, seconds: [0, 0], longest: 2000 });
});

test('theStagesOfAChangeAreFoundThroughTheTimeStamps', () => {
  // Frames are captured at 1000, 1020 and 1040; the counter of their time stamps overflows between them.
  const stamp = (ms) => (2 ** 32 - 900 + ms * 90) >>> 0;
  const frame = (captured, received) => ({ rtp: stamp(captured - 1000), received, presented: received + 2, at: received + 5 });
  const frames = [frame(1000, 1010), frame(1020, 1050), frame(1040, 1052)];
  // The second frame left the host 10 ms after it was captured, as the others, and was on the link for 20 ms.
  const timings = frames.map(({ rtp }) => timing(`${rtp},-20,-19,-12,-12,-10,0,0,0,0,0,0,0,0,1`));
  const found = budget([{ changed: 1015, frame: frames[1] }, { changed: 1016, frame: null }], frames, timings);
  near(found.capture.p50, 5);
  near(found.wait.p50, 1);
  near(found.encoding.p50, 7);
  near(found.pacing.p50, 2);
  near(found.link.max, 20);
  near(found.decoding.p50, 2);
  near(found.display.p50, 3);
  assert.deepEqual({ n: found.whole.n, ms: found.whole.max }, { n: 1, ms: 40 });
  assert.equal(budget([], frames, []), null);
});

const measured = {
  figures: [{ name: 'good', value: 5, unit: 'ms', aim: 6, better: 'lower' }, { name: 'endless', value: null, unit: 'ms', aim: 6, better: 'lower' }],
  runs: [
    { system: 'vantora', codec: 'h264', link: '2mbit', linkName: '2 Mbit/s',
      still: { changes: latencies([10, 11, 12], 2000), stages: null },
      scroll: { changes: latencies([30, 40, null], 2000), frames: pace([100, 200, 1100], 0, 2000), cpu: 50, mbps: 1.9,
        sharpness: { after1s: 35, after3s: 50 }, stages: { encoding: { n: 2, p50: 9, p95: 12, max: 12 } } },
      page: { to30dB: 1500, to40dB: null, limit: 5500, curve: [[100, 15], [1500, 30]] } },
    { system: 'x11vnc', link: 'none', linkName: 'no limit', still: { changes: latencies([50], 2000), stages: null },
      scroll: { changes: latencies([90], 2000), frames: pace([10], 0, 1000), cpu: 60, mbps: 66 }, page: { toExact: 62, limit: 12000 },
      rest: { cpu: 0.5, memory: { rss: 28, pss: 20 } } },
  ],
};

test('tablesPlotsAndTheDocumentAreMadeOfTheResults', async () => {
  const directory = await temporaryDirectory('bench');
  const script = (name, ...args) => execFileSync('node', [join(root, 'scripts/lib/bench', name), ...args], { encoding: 'utf8' });
  try {
    await writeFile(join(directory.path, 'bench_any.json'), JSON.stringify(measured));
    const printed = script('table.mjs', directory.path);
    assert.match(printed, /good +5 ms +<= 6 +ok/);
    assert.match(printed, /endless +never ms +<= 6 +MISSED/);
    assert.match(printed, /\| 2 Mbit\/s \| H\.264 +\| 1\.5 +\| 1 +\|.*\| 1 of 3 +\| 50 +\| 1\.9 +\|/);
    assert.match(printed, /\| 1\.5 \/ > 6 +\|/);
    const results = JSON.parse(await readFile(join(directory.path, 'results.json'), 'utf8'));
    assert.ok(results.machine.cores > 0);
    assert.deepEqual(results.runs, measured.runs);

    script('plots.mjs', directory.path);
    const plot = await readFile(join(directory.path, 'latency-scrolling.svg'), 'utf8');
    assert.match(plot, /H\.264, 2 Mbit\/s/);
    assert.match(plot, /1 missed/);
    for (const name of ['frames', 'latency-still', 'cost', 'sharpness', 'budget']) {
      assert.ok(!/NaN|undefined/.test(await readFile(join(directory.path, `${name}.svg`), 'utf8')), name);
    }

    const text = await readFile(join(root, 'docs/performance.md'), 'utf8');
    await writeFile(join(directory.path, 'performance.md'), text);
    script('document.mjs', directory.path, directory.path);
    const first = await readFile(join(directory.path, 'performance.md'), 'utf8');
    assert.match(first, /^\| no limit \| x11vnc \|.*\| 0\.1 \(exact\) \| 0\.5 \| 28 \|$/m);
    for (const [, plot] of first.matchAll(/\]\((performance\/[a-z-]+\.svg)\)/g)) await readFile(join(directory.path, plot));
    script('document.mjs', directory.path, directory.path);
    assert.equal(await readFile(join(directory.path, 'performance.md'), 'utf8'), first);
  } finally {
    await directory.remove();
  }
});
