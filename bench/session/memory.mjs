// Resident memory and processor share of a host's two processes in a 1080p session, with each codec: node memory.mjs OUT;
// runs inside scripts/lab. CODECS ("h264 av1") chooses some.
import { readFile } from 'node:fs/promises';
import { cpuSecondsOf } from '../../tests/e2e/lib/child.mjs';
import { desktopProcess } from '../../tests/e2e/lib/desktop.mjs';
import { openTextPage } from '../../tests/e2e/lib/text-page.mjs';
import { BareControl, received } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, writeFigures } from './lib/figures.mjs';
import { session } from './lib/session.mjs';

const pass = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

/// MiB of one kind ("Rss", "Pss") in each process.
async function megabytes(pids, kind) {
  return Promise.all(pids.map(async (pid) => {
    const sum = await readFile(`/proc/${pid}/smaps_rollup`, 'utf8');
    return Number(sum.match(new RegExp(`^${kind}:\\s+(\\d+)`, 'm'))[1]) / 1024;
  }));
}

const total = (numbers) => numbers.reduce((sum, number) => sum + number, 0);

/// Share of a core in percent that all of them use, over `ms`.
async function cpuPercent(pids, ms) {
  const used = async () => total(await Promise.all(pids.map(cpuSecondsOf)));
  const before = await used();
  const start = performance.now();
  await pass(ms);
  return ((await used()) - before) / ((performance.now() - start) / 100000);
}

let first = true;
for (const codec of (process.env.CODECS ?? 'h264 vp8 vp9 av1').split(' ')) {
  await session({ screen: '1920x1080', host: { env: { PREFERRED_CODEC: codec } } }, async (each) => {
    const text = await openTextPage(each);
    const pids = [each.host.child.pid, await desktopProcess(each.host)];
    if (first) {
      await until(async () => (await cpuPercent(pids, 500)) < 2, { deadline: 15000, every: 0, what: 'rest' });
      figure('both processes without a viewer, resident', total(await megabytes(pids, 'Rss')), 'MiB', 80);
      figure('both processes without a viewer, processor', await cpuPercent(pids, 20000), '% of a core', 0.2);
      first = false;
    }
    const page = await each.bare();
    await new BareControl(page).open().then(async (viewer) => {
      await viewer.takeControl(await each.host.pin());
      await viewer.send({ type: 'quality', preset: 'high' });
    });
    await until(async () => (await received(page))?.codec?.toLowerCase() === codec, { deadline: 10000, what: codec });
    await text.tell('scroll');
    await pass(8000);
    figure(`both processes while the page scrolls, resident, ${codec}`, total(await megabytes(pids, 'Rss')), 'MiB');
    await text.tell('still');
    await pass(9000);
    const [session, desktop] = await megabytes(pids, 'Rss');
    figure(`session process after scrolling, resident, ${codec}`, session, 'MiB');
    figure(`desktop process after scrolling, resident, ${codec}`, desktop, 'MiB');
    figure(`both processes after scrolling, resident, ${codec}`, session + desktop, 'MiB', 90);
    figure(`both processes after scrolling, proportional share, ${codec}`, total(await megabytes(pids, 'Pss')), 'MiB');
    figure(`both processes on a still screen, processor, ${codec}`, await cpuPercent(pids, 20000), '% of a core', 1);
  });
}

await writeFigures(process.argv[2]);
