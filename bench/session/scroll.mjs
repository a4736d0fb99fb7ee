// A full page of small text at 1920x1080, preset "high", that scrolls, with each codec and over links that are too thin
// for it or lose packets: node scroll.mjs OUT; runs inside scripts/lab. CODECS and LINKS ("h264 av1", "none 2mbit 1mbit
// 500kbit loss1 loss5") choose some of the combinations.
import { BareControl, received } from '../../tests/e2e/lib/viewer.mjs';
import { openTextPage } from '../../tests/e2e/lib/text-page.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, keepRun, writeFigures } from './lib/figures.mjs';
import { FrameLog, reference } from './lib/frame-log.mjs';
import { trueLuma } from './lib/luma.mjs';
import { family } from '../../tests/e2e/lib/processes.mjs';
import { atRest, newPage, pass, scroll, still } from './lib/scenario.mjs';
import { session } from './lib/session.mjs';

const PAGE = 7;
const links = {
  none: { name: 'no limit' },
  '4mbit': { name: '4 Mbit/s', rate: '4mbit' },
  '2mbit': { name: '2 Mbit/s', rate: '2mbit' },
  '1mbit': { name: '1 Mbit/s', rate: '1mbit' },
  '500kbit': { name: '500 kbit/s', rate: '500kbit' },
  loss1: { name: '1 % lost', loss: 0.01 },
  loss5: { name: '5 % lost', loss: 0.05 },
};
const usual = { h264: 'none 2mbit 1mbit 500kbit loss1 loss5', vp8: 'none 2mbit', vp9: 'none 2mbit', av1: 'none 2mbit' };
const codecs = (process.env.CODECS ?? Object.keys(usual).join(' ')).split(' ');
const linksOf = (codec) => (process.env.LINKS ?? usual[codec]).split(' ');
const seconds = Number(process.env.SECONDS_OF_SCROLL ?? 10);
// What a new page takes at 40 dB (6.2 Mbit with H.264, 3.8 Mbit with AV1 at 43 dB), and half as much again.
const pageSeconds = { none: 3, '4mbit': 4, '2mbit': 5.5, '1mbit': 10 };

// Frames a second; the time (ms) until a change is seen; dB; for a new page half as much again as its bits take.
const aims = {
  none: { fps: { h264: 57 }, p50: 30, p95: 60, cpu: { h264: 80, av1: 110 }, after1s: 45, after3s: 50 },
  '2mbit': { fps: { h264: 50, vp8: 25, vp9: 25, av1: 25 }, p95: { h264: 150, vp8: 250, vp9: 250, av1: 250 }, after1s: 35,
    to30dB: { h264: 2200 }, to40dB: { h264: 4650, av1: 2850 } },
  '1mbit': { fps: { h264: 15 }, p95: 400, to30dB: { h264: 4350 }, to40dB: { h264: 9300 } },
  '500kbit': { stillP95: 500 },
};

/// An aim for a codec: one for all, or one each.
const aimOf = (aim, codec) => (typeof aim === 'object' ? aim[codec] : aim);

function report(codec, link, run) {
  const [aim, name] = [aims[link] ?? {}, `${codec}, ${links[link].name}`];
  const say = (title, value, unit, goal, better) => {
    if (value !== undefined && value !== null) figure(`${title}, ${name}`, value, unit, aimOf(goal, codec), better);
  };
  say('change on a still page, median', run.still.changes.p50, 'ms');
  say('change on a still page, 95th of 100', run.still.changes.p95, 'ms', aim.stillP95);
  say(`changes missed on a still page, of ${run.still.changes.n}`, run.still.changes.missed, 'changes', 0);
  if (!run.scroll) return;
  const { changes, frames, cpu, mbps, sharpness } = run.scroll;
  say('frames a second while scrolling', frames.fps, 'fps', aim.fps, 'higher');
  say('fewest frames in a second of it', Math.min(...frames.seconds), 'fps', aim.fps, 'higher');
  say('gap between its frames, 95th of 100', frames.gaps.p95, 'ms');
  say('longest gap between its frames', frames.gaps.max, 'ms');
  say('change while scrolling, median', changes.p50, 'ms', aim.p50);
  say('change while scrolling, 95th of 100', changes.p95, 'ms', aim.p95);
  say(`changes missed while scrolling, of ${changes.n}`, changes.missed, 'changes', 0);
  say('processor share of the host while scrolling', cpu, '% of a core', aim.cpu);
  say('sent while scrolling', mbps, 'Mbit/s');
  say('luma PSNR 1 s after the motion', sharpness.after1s, 'dB', aim.after1s, 'higher');
  say('luma PSNR 3 s after the motion', sharpness.after3s, 'dB', aim.after3s, 'higher');
  if (run.page) {
    say('new page until 30 dB', run.page.to30dB ?? Infinity, 'ms', aim.to30dB);
    say('new page until 40 dB', run.page.to40dB ?? Infinity, 'ms', aim.to40dB);
  }
  say('processor share, still page, one viewer', run.rest?.cpu, '% of a core', 1);
  say('resident memory of both processes', run.rest?.memory.rss, 'MiB', 90);
}

async function measure(codec, link) {
  const { rate, loss } = links[link];
  const run = { system: 'vantora', codec, link, linkName: links[link].name };
  await session({ screen: '1920x1080', far: true, hostNow: false, host: { env: { PREFERRED_CODEC: codec } } }, async (each) => {
    if (rate) await each.far.shape({ rate, latency: '200ms' });
    if (loss) await each.far.lose(loss);
    const text = await openTextPage(each);
    await text.tell(`page ${PAGE}`);
    const truth = reference(await trueLuma(each.screen), each.screen.width);
    await text.tell('page 0');
    await each.startHost();
    const page = await each.bare();
    const control = await new BareControl(page).open();
    await control.send({ type: 'quality', preset: 'high' });
    await until(async () => (await received(page))?.codec.toLowerCase() === codec, { deadline: 20000, what: codec });
    const viewer = await FrameLog.start(page, text.place, each.screen);
    const scene = { text, viewer, far: each.far, screen: each.screen, pids: await family(each.host.child.pid) };
    const encodeTimes = async () => (await control.received('host_stats')).map(({ message }) => message.link?.encodeMs).filter(Boolean);

    if (link === '500kbit') {
      await pass(8000);
      run.still = await still(scene, 8);
    } else {
      run.still = await still(scene, 4);
      const before = (await encodeTimes()).length;
      run.scroll = await scroll(scene, seconds);
      run.encodeMs = (await encodeTimes()).slice(before, before + seconds * 4);
      if (pageSeconds[link]) run.page = await newPage(scene, PAGE, truth, pageSeconds[link] * 1000);
      if (link === 'none') {
        await pass(1000);
        run.rest = await atRest(scene, 3);
      }
    }
    const end = await received(page);
    Object.assign(run, { keyFrames: end.keyFrames, lost: end.lost / Math.max(1, end.lost + end.packets) });
  });
  return run;
}

for (const codec of codecs) {
  for (const link of linksOf(codec)) {
    const run = await measure(codec, link).catch((error) => {
      console.log(`${codec}, ${links[link].name}: not measured: ${error.message}`);
      process.exitCode = 1;
    });
    if (!run) continue;
    keepRun(run);
    report(codec, link, run);
  }
}

await writeFigures(process.argv[2]);
