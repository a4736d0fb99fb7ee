// The figures of session.mjs that depend on the desktop, on a Wayland desktop without a GPU, and what its compositor
// takes besides: node wayland.mjs OUT; runs inside scripts/lab.
import { readFile } from 'node:fs/promises';
import { BareControl, shows } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { flipping, keysToPixels, shownRate } from './lib/pixels.mjs';
import { session } from './lib/session.mjs';

const wayland = { monitors: ['1920x1080'] };

async function cpuSeconds(pid) {
  const fields = (await readFile(`/proc/${pid}/stat`, 'utf8')).replace(/^.*\) /, '').split(' ');
  return (Number(fields[11]) + Number(fields[12])) / 100;
}

/// Shares of one core in percent over `ms` milliseconds: of the host, and of the compositor.
async function shares(each, ms) {
  const { compositor } = each.screen.pids;
  const start = performance.now();
  const before = await cpuSeconds(compositor);
  const host = await each.host.cpuPercent(ms);
  return { host, compositor: ((await cpuSeconds(compositor)) - before) / ((performance.now() - start) / 100000) };
}

function terminal(each, options, script) {
  each.keep(each.screen.start('foot', ['--config=/dev/null', ...options, 'bash', '-c', script]));
}

await session({ wayland }, async (each) => {
  await each.screen.paint('#406080');
  const page = await each.bare();
  await shows(page, '#406080', { deadline: 10000 });
  figure('Wayland: first frame after the page was loaded', await page.evaluate(() => bare.firstFrameAt), 'ms', 1000);
  await (await new BareControl(page).open()).takeControl(await each.host.pin());
  await until(async () => (await each.host.cpuPercent(500)) < 5, { deadline: 15000, every: 0, what: 'a still screen' });
  const still = await shares(each, 5000);
  figure('Wayland: processor share, still screen, one viewer, 1080p', still.host, '% of a core', 2);
  figure('Wayland: processor share of the compositor, still screen, 1080p', still.compositor, '% of a core');

  // Nothing covers the terminal, which comes up left of the middle and above it.
  await each.screen.painted.end();
  const inside = [600, 300];
  terminal(each, ['--window-size-chars=100x30'], flipping);
  await shows(page, '#111111', { place: [inside[0] / 1920, inside[1] / 1080], deadline: 10000 });
  const times = await keysToPixels(page, inside);
  figure('Wayland: key to pixel in the browser, median, 1080p', share(times), 'ms', 50);
  figure('Wayland: key to pixel in the browser, 95th of 100, 1080p', share(times, 0.95), 'ms', 80);
});

await session({ wayland, host: { env: { FPS: '60' } } }, async (each) => {
  const page = await each.bare();
  await new BareControl(page).open();
  terminal(each, ['--window-size-chars=180x60', '--font=monospace:size=7'], 'while :; do date; done');
  await until(() => page.evaluate(() => bare.frames > 60), { deadline: 20000, what: 'frames' });
  const { rate, value: busy } = await shownRate(page, () => shares(each, 6000));
  figure('Wayland: frames a second shown, scrolling text, 1080p', rate, 'fps', 20, 'higher');
  figure('Wayland: processor share, scrolling text, 1080p', busy.host, '% of a core');
  figure('Wayland: processor share of the compositor, scrolling text, 1080p', busy.compositor, '% of a core');
});

await writeFigures(process.argv[2]);
