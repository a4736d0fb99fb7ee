// Image quality and frame rate of text with the presets: node codecs.mjs OUT; runs inside scripts/lab. The browser
// decodes on the same machine, so the frame rates are those of host and browser together. With VANTORA_BENCH_FULL for
// every codec and preset, and the quality as well, which scroll.mjs measures for the preset "high".
import { BareControl, received, receivedRates } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, writeFigures } from './lib/figures.mjs';
import { psnr, shownLuma, trueLuma } from './lib/luma.mjs';
import { session } from './lib/session.mjs';

const full = Boolean(process.env.VANTORA_BENCH_FULL);
const codecs = full ? ['h264', 'vp8', 'vp9', 'av1'] : ['h264'];
const presets = [['low', 30], ['low_stable', 15], ['medium', 30], ['native', 60],
  ...(full ? [['high', 60], ['gaming', 60], ['ultra', 60], ['max', 60], ['auto', 60]] : [])];

async function pass(ms) {
  const end = performance.now() + ms;
  await until(() => performance.now() > end, { deadline: ms + 5000, what: 'the time to pass' });
}

/// Two terminals with small text, black on white and red on black, that scroll until told to stop.
async function pages(each) {
  const words = 'The quick brown fox jumps over the lazy dog 0123456789 abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ';
  const script = `i=0; while :; do i=$((i+1)); echo "$i ${words} $((i*7919))"; sleep 0.03; done`;
  const colours = [['black', 'white', '105x55+0+0'], ['red', 'black', '105x55+640+0']];
  const terminals = colours.map(([fg, bg, geometry]) => each.screen.start('xterm',
    ['-fg', fg, '-bg', bg, '-cr', bg, '-geometry', geometry, '-e', 'sh', '-c', script], { group: true }));
  for (const terminal of terminals) each.keep(terminal);
  await until(async () => (await each.screen.run('xdotool', ['search', '--class', 'xterm'])).trim().split('\n').length >= 2,
    { deadline: 10000, what: 'both terminals' });
  const all = (signal) => terminals.forEach((terminal) => process.kill(-terminal.pid, signal));
  return { stop: () => all('SIGSTOP'), go: () => all('SIGCONT') };
}

for (const codec of full ? codecs : []) {
  await session({ screen: '1280x720', host: { env: { PREFERRED_CODEC: codec } } }, async (each) => {
    const page = await each.bare();
    const viewer = await new BareControl(page).open();
    const text = await pages(each);
    await viewer.send({ type: 'quality', preset: 'low_stable' });
    await until(async () => (await received(page))?.codec?.toLowerCase() === codec, { deadline: 10000, what: codec });
    for (const kbps of [1000, 2000, 6000]) {
      text.go();
      await viewer.send({ type: 'video_params', maxBitrateKbps: kbps });
      await pass(4000);
      text.stop();
      await pass(1000);
      const [shown, truth] = [await shownLuma(page), await trueLuma(each.screen)];
      figure(`luma PSNR a second after motion stopped, ${codec}, ${kbps / 1000} Mbit/s, low_stable`, psnr(shown, truth), 'dB', 30, 'higher');
    }
    text.go();
  });
}

for (const codec of codecs) {
  await session({ screen: '1920x1080', host: { env: { PREFERRED_CODEC: codec } } }, async (each) => {
    const page = await each.bare();
    const viewer = await new BareControl(page).open();
    each.keep(each.screen.scrollingText({ pause: 0.012 }));
    for (const [preset, fps] of presets) {
      await viewer.send({ type: 'quality', preset });
      // "gaming" selects its own codec for the next offer; here all codecs are compared.
      await viewer.send({ type: 'codec', codec });
      await until(async () => (await received(page))?.codec?.toLowerCase() === codec, { deadline: 10000, what: codec });
      await pass(3000);
      const cpu = each.host.cpuPercent(4000);
      const rates = await receivedRates(page, 4000);
      figure(`frames a second, scrolling text, ${codec}, ${preset}`, rates.fps, 'fps', fps * 0.9, 'higher');
      figure(`processor share of that, ${codec}, ${preset}`, await cpu, '% of a core');
    }
  });
}

await writeFigures(process.argv[2]);
