// How text looks and moves with each codec: node picture.mjs OUT; runs inside scripts/lab. The browser decodes on the same
// machine, so frames a second are those that both can do together.
import { run } from '../../tests/e2e/lib/child.mjs';
import { BareControl, received, receivedRates } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, writeFigures } from './lib/figures.mjs';
import { session } from './lib/session.mjs';

const codecs = ['h264', 'vp8', 'vp9', 'av1'];

async function pass(ms) {
  const end = performance.now() + ms;
  await until(() => performance.now() > end, { deadline: ms + 5000, what: 'the time to pass' });
}

/// Brightness of every pixel of the picture that the page shows, row by row.
async function shownLuma(page) {
  const text = await page.evaluate(() => {
    const video = document.getElementById('video');
    const canvas = new OffscreenCanvas(video.videoWidth, video.videoHeight);
    const context = canvas.getContext('2d', { willReadFrequently: true });
    context.drawImage(video, 0, 0);
    const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
    let luma = '';
    for (let i = 0; i < data.length; i += 4) {
      luma += String.fromCharCode(Math.round(0.299 * data[i] + 0.587 * data[i + 1] + 0.114 * data[i + 2]));
    }
    return btoa(luma);
  });
  return Buffer.from(text, 'base64');
}

/// The same of the X server's own picture.
async function trueLuma(screen) {
  const rgb = await run('import', ['-window', 'root', '-depth', '8', 'rgb:-'],
    { encoding: 'buffer', env: { ...process.env, ...screen.env } });
  const luma = Buffer.alloc(rgb.length / 3);
  for (let i = 0; i < luma.length; i++) luma[i] = Math.round(0.299 * rgb[3 * i] + 0.587 * rgb[3 * i + 1] + 0.114 * rgb[3 * i + 2]);
  return luma;
}

function psnr(a, b) {
  if (a.length !== b.length) throw new Error(`pictures of ${a.length} and ${b.length} pixels`);
  let sum = 0;
  for (let i = 0; i < a.length; i++) sum += (a[i] - b[i]) ** 2;
  return sum === 0 ? 99 : 10 * Math.log10((255 * 255 * a.length) / sum);
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

for (const codec of codecs) {
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
    for (const [preset, fps] of [['low', 30], ['low_stable', 15], ['medium', 30], ['high', 60], ['gaming', 60], ['ultra', 60], ['max', 60],
      ['native', 60], ['auto', 60]]) {
      await viewer.send({ type: 'quality', preset });
      // "gaming" chooses a codec of its own for the next offer; here all are compared.
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
