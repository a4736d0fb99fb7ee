// A large file from a real browser to the real host while the screen is shared: at full rate, then by the viewer's page,
// which keeps its keys and clicks fast. node files.mjs OUT [MEGABYTES]; runs inside scripts/lab. The browser runs on the
// same machine, so every figure includes its load.
import { writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { firstDifference, sendFile } from '../../tests/e2e/lib/files.mjs';
import { BareControl, connected } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { session } from './lib/session.mjs';

const full = Boolean(process.env.VANTORA_BENCH_FULL);
const [out, megabytes = full ? '1024' : '192'] = process.argv.slice(2);
const size = Number(megabytes) << 20;

/// Milliseconds between the frames shown during `ms`.
function frameGaps(page, ms) {
  return page.evaluate((ms) => new Promise((resolve) => {
    const video = document.getElementById('video');
    const gaps = [];
    const start = performance.now();
    let last = start;
    const onFrame = () => {
      const now = performance.now();
      gaps.push(now - last);
      last = now;
      if (now - start > ms) resolve(gaps);
      else video.requestVideoFrameCallback(onFrame);
    };
    video.requestVideoFrameCallback(onFrame);
  }), ms);
}

const RUNS = 5;
const PAGE_MEGABYTES = full ? 128 : 32;

/// Makes a file that the user has chosen; resolves to it, in the page.
async function chosenFile(page, folder, megabytes) {
  const path = join(folder, 'chosen.bin');
  await writeFile(path, Buffer.alloc(megabytes << 20, 7));
  const input = await page.evaluateHandle(() => Object.assign(document.createElement('input'), { type: 'file' }));
  await input.setInputFiles(path);
  return page.evaluateHandle((input) => input.files[0], input);
}

/// Sends a file of the viewer's page; resolves to {seconds, pings}: its time, and the milliseconds of pings meanwhile.
function sendByPage(page, file) {
  return page.evaluate(async (file) => {
    const { app } = vantora;
    const { fileQueue } = await import('./tools/files/queue.js');
    const sentAt = new Map();
    const pings = [];
    const end = app.on('message', ({ type, t0 }) => type === 'pong' && sentAt.has(t0) && pings.push(performance.now() - sentAt.get(t0)));
    // Numbers that are no times, so that no other ping has them.
    const pinger = setInterval(() => {
      sentAt.set(sentAt.size + 1, performance.now());
      app.send({ type: 'ping', t0: sentAt.size });
    }, 50);
    const queue = fileQueue(app);
    const start = performance.now();
    queue.add([file]);
    const entry = queue.entries.at(-1);
    await new Promise((resolve) => queue.onChange(() => queue.active.length === 0 && resolve()));
    clearInterval(pinger);
    end();
    if (entry.state !== 'saved') throw new Error(`${entry.state} ${entry.reason}`);
    return { seconds: (performance.now() - start) / 1000, pings };
  }, file);
}

await session({ screen: '1280x720' }, async (each) => {
  const page = await each.bare();
  await new BareControl(page).open({ deadline: 30000 });
  each.keep(each.screen.start('xterm', ['-geometry', '100x30+0+0', '-e', 'sh', '-c', 'while :; do date; sleep 0.03; done']));
  await until(() => page.evaluate(() => bare.frames > 60), { deadline: 30000, what: 'frames' });

  const quiet = await frameGaps(page, full ? 10000 : 4000);
  const before = await each.host.child.cpuSeconds();
  const { saved, seconds, gaps } = await sendFile(page, { name: 'large.bin', size });
  const used = (await each.host.child.cpuSeconds()) - before;
  if (saved.size !== size) throw new Error(`only ${saved.size} of ${size} bytes arrived`);
  const difference = await firstDifference(join(each.host.home, 'Downloads/large.bin'), size);
  if (difference) throw new Error(`the file differs: ${JSON.stringify(difference)}`);

  figure(`file of ${megabytes} MiB from the browser, with the screen shown`, (size * 8) / seconds / 1e6, 'Mbit/s', 250, 'higher');
  figure('frame gap meanwhile, 95th of 100', share(gaps, 0.95), 'ms');
  figure('frame gap before, 95th of 100', share(quiet, 0.95), 'ms');
  figure('frame gap meanwhile, 95th of 100, beyond that before', share(gaps, 0.95) - share(quiet, 0.95), 'ms', 20);
  figure('processor share meanwhile', (used / seconds) * 100, '% of a core');
  await page.context().close();

  const viewer = await each.viewer();
  await connected(viewer);
  await until(() => viewer.evaluate(() => vantora.app.ready), { deadline: 30000, what: 'the channel' });
  const rates = [];
  const pings = [];
  const file = await chosenFile(viewer, each.host.home, PAGE_MEGABYTES);
  for (let run = 0; run < RUNS; run++) {
    const sent = await sendByPage(viewer, file);
    rates.push((PAGE_MEGABYTES * 8 * 1.048576) / sent.seconds);
    pings.push(...sent.pings);
  }
  figure(`file of ${PAGE_MEGABYTES} MiB by the page, median of ${RUNS}`, share(rates), 'Mbit/s', 250, 'higher');
  figure(`file of ${PAGE_MEGABYTES} MiB by the page, slowest of ${RUNS}`, Math.min(...rates), 'Mbit/s');
  figure('ping during a file of the page, median', share(pings), 'ms', 100);
  figure('ping during a file of the page, 95th of 100', share(pings, 0.95), 'ms');
});
await writeFigures(out);
