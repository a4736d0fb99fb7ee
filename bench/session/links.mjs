// Sessions over links between two machines: the first second, links that fail. node links.mjs OUT; runs inside scripts/lab.
// With VANTORA_BENCH_FULL over more links, and with more losses. scroll.mjs measures links that are too thin.
import { mkdtemp, readFile, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { run } from '../../tests/e2e/lib/child.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { session as sessionOf } from './lib/session.mjs';

const full = Boolean(process.env.VANTORA_BENCH_FULL);
const session = (want, body) => sessionOf({ far: true, ...want }, body);

async function firstSecond(codec, rate) {
  await session({ screen: '1280x720', host: { env: { PREFERRED_CODEC: codec } } }, async (each) => {
    if (rate) await each.far.shape({ rate });
    each.keep(each.screen.start('xterm', ['-geometry', '210x55+0+0', '-e', 'sh', '-c', 'seq 1 4000; sleep 1000']));
    await until(async () => (await each.screen.run('xdotool', ['search', '--class', 'xterm'])).trim(), { what: 'the terminal' });
    const [firsts, wholes] = [[], []];
    for (let round = 0; round < 5; round++) {
      const page = await each.bare();
      await until(() => page.evaluate(() => bare.size === '1280x720'), { deadline: 20000, what: 'a frame of full size' });
      const times = await page.evaluate(() => ({ answered: bare.answeredAt, first: bare.firstFrameAt, full: bare.fullSizeAt }));
      firsts.push(times.first - times.answered);
      wholes.push(times.full - times.answered);
      await page.context().close();
    }
    const link = rate ? `${rate.replace('mbit', ' Mbit/s')}` : 'no limit';
    figure(`answer set to first frame, ${codec}, ${link}`, share(firsts), 'ms');
    figure(`answer set to first frame of full size, ${codec}, ${link}`, share(wholes), 'ms');
  });
}

for (const codec of full ? ['h264', 'av1'] : ['h264']) {
  for (const rate of full ? [null, '2mbit', '1mbit'] : [null, '2mbit']) await firstSecond(codec, rate);
}

// Losses of each kind in a row.
const folder = await mkdtemp(join(tmpdir(), 'vantora-bench-'));
const file = join(folder, 'recovery');
const test = join(dirname(fileURLToPath(import.meta.url)), '../../tests/e2e/recovery.test.mjs');
let recovered = true;
await run('node', ['--test', '--test-name-pattern', '^(aCable|theHosts|theViewers|theRoomServer)', test],
  { timeout: 1_200_000, env: { ...process.env, VANTORA_ROUNDS: full ? '20' : '2', VANTORA_FIGURES: file } }).catch((error) => {
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
