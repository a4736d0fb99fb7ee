// Sessions over links between two machines: the first second, links that are too thin, links that fail. node links.mjs OUT;
// runs inside scripts/lab.
import { mkdtemp, readFile, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { run } from '../../tests/e2e/lib/child.mjs';
import { BareControl } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { session as sessionOf } from './lib/session.mjs';

const session = (want, body) => sessionOf({ far: true, ...want }, body);

async function firstSecond(codec, rate) {
  await session({ screen: '1280x720', host: { env: { PREFERRED_CODEC: codec } } }, async (each) => {
    if (rate) await each.far.shape({ rate });
    each.keep(each.screen.start('xterm', ['-geometry', '210x55+0+0', '-e', 'sh', '-c', 'seq 1 4000; sleep 1000']));
    await until(async () => (await each.screen.run('xdotool', ['search', '--class', 'xterm'])).trim(), { what: 'the terminal' });
    const [first, full] = [[], []];
    for (let round = 0; round < 5; round++) {
      const page = await each.bare();
      await until(() => page.evaluate(() => bare.size === '1280x720'), { deadline: 20000, what: 'a frame of full size' });
      const times = await page.evaluate(() => ({ answered: bare.answeredAt, first: bare.firstFrameAt, full: bare.fullSizeAt }));
      first.push(times.first - times.answered);
      full.push(times.full - times.answered);
      await page.context().close();
    }
    const link = rate ? `${rate.replace('mbit', ' Mbit/s')}` : 'no limit';
    figure(`answer set to first frame, ${codec}, ${link}`, share(first), 'ms');
    figure(`answer set to first frame of full size, ${codec}, ${link}`, share(full), 'ms');
  });
}

for (const codec of ['h264', 'av1']) {
  for (const rate of [null, '2mbit', '1mbit']) await firstSecond(codec, rate);
}

// Delay between a change and its frame while the link is too thin for the moving text beside it.
for (const [codec, rate] of ['h264', 'vp8', 'vp9', 'av1'].flatMap((codec) => [[codec, null], [codec, '2mbit'], [codec, '1mbit']])) {
  await session({ screen: '1280x720', host: { env: { PREFERRED_CODEC: codec, CONTROL_TOKEN: '123456' } } }, async (each) => {
    const page = await each.bare();
    const viewer = await new BareControl(page).open();
    await viewer.takeControl('123456');
    if (rate) await each.far.shape({ rate });
    each.keep(each.screen.start('xterm', ['-geometry', '150x54+360+0', '-e', 'sh', '-c',
      'i=0; while :; do i=$((i+1)); echo "$i text that scrolls by $((i*7919)) and never ends"; sleep 0.03; done']));
    const script = 'stty raw -echo; i=0; while read -rn1; do i=$((1-i)); [ $i = 1 ] && printf "\\033[?5h" || printf "\\033[?5l"; done';
    each.keep(each.screen.start('xterm', ['-title', 'flipper', '-geometry', '50x20+0+0', '-e', 'bash', '-c', script]));
    const id = (await each.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--name', 'flipper'])).trim().split('\n')[0];
    await each.screen.run('xdotool', ['windowfocus', '--sync', id]);
    await until(() => page.evaluate(() => bare.frames > 100), { deadline: 30000, what: 'frames' });
    const times = [];
    for (let round = 0; round < 25; round++) {
      times.push(await page.evaluate(() => new Promise((resolve, reject) => {
        const video = document.getElementById('video');
        const context = new OffscreenCanvas(8, 8).getContext('2d', { willReadFrequently: true });
        const bright = () => {
          context.drawImage(video, 150, 150, 8, 8, 0, 0, 8, 8);
          return context.getImageData(4, 4, 1, 1).data[0] > 128;
        };
        const before = bright();
        const start = performance.now();
        const onFrame = () => {
          if (bright() !== before) resolve(performance.now() - start);
          else if (performance.now() - start > 10000) reject(new Error('the picture did not change'));
          else video.requestVideoFrameCallback(onFrame);
        };
        video.requestVideoFrameCallback(onFrame);
        bare.send({ type: 'keyDown', code: 'Space', mods: {} });
        bare.send({ type: 'keyUp', code: 'Space', mods: {} });
      })));
      const end = performance.now() + 200 + 37 * (round % 7);
      await until(() => performance.now() > end, { what: 'the pause' });
    }
    const link = rate ? rate.replace('mbit', ' Mbit/s') : 'no limit';
    figure(`key to pixel beside scrolling text, ${codec}, ${link}, median`, share(times), 'ms');
    figure(`key to pixel beside scrolling text, ${codec}, ${link}, 95th of 100`, share(times, 0.95), 'ms');
  });
}

// Twenty losses of each kind in a row.
const folder = await mkdtemp(join(tmpdir(), 'vantora-bench-'));
const file = join(folder, 'recovery');
const test = join(dirname(fileURLToPath(import.meta.url)), '../../tests/e2e/recovery.test.mjs');
let recovered = true;
await run('node', ['--test', '--test-name-pattern', '^(aCable|theHosts|theViewers|theRoomServer)', test],
  { timeout: 1_200_000, env: { ...process.env, VANTORA_ROUNDS: '20', VANTORA_FIGURES: file } }).catch((error) => {
  recovered = false;
  console.log(`not every loss was recovered: ${error.stdout ?? error}`);
});
for (const line of (await readFile(file, 'utf8')).trim().split('\n')) {
  const { name, median, worst, rounds } = JSON.parse(line);
  figure(`link up to new picture, ${name}, median of ${rounds}`, median, 'ms', 3000);
  figure(`link up to new picture, ${name}, worst of ${rounds}`, worst, 'ms', 3000);
}
await rm(folder, { recursive: true });

await writeFigures(process.argv[2]);
if (!recovered) process.exitCode = 1;
