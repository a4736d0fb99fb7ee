// A large file from a real browser to the real host while the screen is shared. node files.mjs OUT [MEGABYTES]; runs
// inside scripts/lab. The browser runs on the same machine, so every figure includes its load.
import { join } from 'node:path';
import { firstDifference, sendFile } from '../../tests/e2e/lib/files.mjs';
import { BareControl } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { session } from './lib/session.mjs';

const [out, megabytes = '1024'] = process.argv.slice(2);
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

await session({ screen: '1280x720' }, async (each) => {
  const page = await each.bare();
  await new BareControl(page).open({ deadline: 30000 });
  each.keep(each.screen.start('xterm', ['-geometry', '100x30+0+0', '-e', 'sh', '-c', 'while :; do date; sleep 0.03; done']));
  await until(() => page.evaluate(() => bare.frames > 60), { deadline: 30000, what: 'frames' });

  const quiet = await frameGaps(page, 10000);
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
});
await writeFigures(out);
