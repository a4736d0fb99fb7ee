// A full page of small text at 1920x1080, preset "high", over links that are too thin for it: node thin.mjs OUT; runs
// inside scripts/lab. CODECS and RATES ("h264 av1", "1mbit 2mbit none") choose some of the combinations.
import { openTextPage } from '../../tests/e2e/lib/text-page.mjs';
import { BareControl, received, receivedRates } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { psnr, shownLuma, trueLuma } from './lib/luma.mjs';
import { session } from './lib/session.mjs';

const listed = (name, all) => (process.env[name] ?? all).split(' ');
const codecs = listed('CODECS', 'h264 vp8 vp9 av1');
const rates = listed('RATES', '1mbit 2mbit 4mbit none');
const flips = Number(process.env.FLIPS ?? 18);

async function pass(ms) {
  const end = performance.now() + ms;
  await until(() => performance.now() > end, { deadline: ms + 5000, what: 'the time to pass' });
}

function report(name, times, missedAfter) {
  const missed = times.filter((ms) => ms > missedAfter).length;
  figure(`${name}, median`, share(times), 'ms');
  figure(`${name}, 95th of 100`, share(times, 0.95), 'ms');
  figure(`${name}, seen later than ${missedAfter} ms, of ${times.length}`, missed, 'changes', 0);
}

for (const codec of codecs) {
  for (const rate of rates) {
    const link = `${codec}, ${rate === 'none' ? 'no limit' : rate.replace('mbit', ' Mbit/s')}`;
    await session({ screen: '1920x1080', far: true, host: { env: { PREFERRED_CODEC: codec } } }, async (each) => {
      if (rate !== 'none') await each.far.shape({ rate, latency: '200ms' });
      const text = await openTextPage(each);
      const page = await each.bare();
      const viewer = await new BareControl(page).open();
      await viewer.send({ type: 'quality', preset: 'high' });
      await pass(3000);
      await text.watch(page);
      const still = [];
      for (let round = 0; round < flips; round++) {
        still.push(await text.flip(page, 5000));
        await pass(200 + 37 * (round % 7));
      }
      report(`change on a still page, ${link}`, still, 1000);

      await text.tell('scroll');
      await pass(2000);
      const cpu = each.host.cpuPercent(6000);
      const scrolled = await receivedRates(page, 6000);
      figure(`frames a second while scrolling, ${link}`, scrolled.fps, 'fps', 10, 'higher');
      figure(`kbit/s while scrolling, ${link}`, scrolled.kbps, 'kbit/s');
      figure(`processor share while scrolling, ${link}`, await cpu, '% of a core');
      const moving = [];
      for (let round = 0; round < flips; round++) {
        moving.push(await text.flip(page, 5000));
        await pass(100 + 37 * (round % 7));
      }
      report(`change while scrolling, ${link}`, moving, 1000);
      await text.tell('still');
      await pass(1000);
      figure(`luma PSNR 1 s after the motion, ${link}`, psnr(await shownLuma(page), await trueLuma(each.screen)), 'dB', 30, 'higher');
      await text.tell('page 7');
      await pass(1300);
      const early = await shownLuma(page);
      await pass(2700);
      const late = await shownLuma(page);
      const truth = await trueLuma(each.screen);
      figure(`luma PSNR 1.3 s after a new page, ${link}`, psnr(early, truth), 'dB', 30, 'higher');
      figure(`luma PSNR 4.3 s after a new page, ${link}`, psnr(late, truth), 'dB', 30, 'higher');
      const end = await received(page);
      figure(`key frames decoded, ${link}`, end.keyFrames, 'frames');
      figure(`packets lost, ${link}`, (100 * end.lost) / Math.max(1, end.lost + end.packets), '%');
    });
  }
}

await writeFigures(process.argv[2]);
