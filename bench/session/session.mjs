// Figures of whole sessions: the real host, a real X server and a real browser on one machine, so every figure includes
// the browser's load. node session.mjs OUT; runs inside scripts/lab.
import { cpuMeter, family, memory } from '../../tests/e2e/lib/processes.mjs';
import { BareControl, shows } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { flipping, keysToPixels, shownRate } from './lib/pixels.mjs';
import { session } from './lib/session.mjs';

/// Share of one core in percent that both processes of the host take over `ms` milliseconds, for little work.
async function smallShare(pids, ms) {
  const cpu = await cpuMeter(pids, { exact: true });
  await new Promise((resolve) => setTimeout(resolve, ms));
  return cpu();
}

/// A terminal that inverts its colours with every key it receives.
async function flipper(each) {
  const child = each.screen.start('xterm', ['-geometry', '100x30+0+0', '-e', 'bash', '-c', flipping]);
  each.keep(child);
  const id = (await each.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--class', 'xterm'])).trim().split('\n')[0];
  await each.screen.run('xdotool', ['windowfocus', '--sync', id]);
}

await session({ screen: '1920x1080', hostNow: false }, async (each) => {
  // A client waits in the room and receives the offer.
  const listener = await each.bare();
  const starts = [];
  const offers = [];
  for (let round = 0; round < 5; round++) {
    const offered = listener.evaluate(({ url, room }) => new Promise((resolve) => {
      const socket = new WebSocket(url);
      socket.onopen = () => {
        socket.send(JSON.stringify({ type: 'join', room, role: 'viewer' }));
        window.listening = true;
      };
      socket.onmessage = ({ data }) => {
        if (JSON.parse(data).type !== 'offer') return;
        resolve(performance.timeOrigin + performance.now());
        window.listening = false;
        socket.close();
      };
    }), { url: each.server.signalUrl, room: each.room });
    await until(() => listener.evaluate(() => window.listening), { what: 'the listener in the room' });
    const start = performance.now();
    await each.startHost();
    starts.push(performance.now() - start);
    offers.push((await offered) - performance.timeOrigin - start);
    if (round < 4) await each.host.end();
  }
  await listener.context().close();
  figure('start of the host until its offer is in the room', share(offers), 'ms', 150);
  figure('start of the host until its PIN is shown', share(starts), 'ms', 150);
  const pids = await family(each.host.child.pid);
  await each.host.line('[share] started screen capture');
  await until(async () => (await each.host.cpuPercent(500)) < 2, { deadline: 10000, every: 0, what: 'rest' });
  figure('processor share without a viewer, 1080p', await smallShare(pids, 5000), '% of a core', 0.2);
  figure('resident memory of both processes without a viewer', (await memory(pids)).rss, 'MiB');

  await each.screen.paint('#406080');
  const page = await each.bare();
  await shows(page, '#406080', { deadline: 10000 });
  figure('first frame after the page was loaded', await page.evaluate(() => bare.firstFrameAt), 'ms', 1000);
  const viewer = await new BareControl(page).open();
  await viewer.takeControl(await each.host.pin());

  const reloads = [];
  for (let round = 0; round < 5; round++) {
    await page.reload();
    await until(() => page.evaluate(() => bare.firstFrameAt), { deadline: 5000, what: 'a frame' });
    await new BareControl(page).open();
    reloads.push(await page.evaluate(() => bare.firstFrameAt));
  }
  figure('picture back after a reload', share(reloads), 'ms', 1000);

  await new BareControl(page).takeControl(await each.host.pin());
  await until(async () => (await each.host.cpuPercent(500)) < 5, { deadline: 15000, every: 0, what: 'a still screen' });
  figure('processor share, still screen, one viewer, 1080p', await smallShare(pids, 5000), '% of a core', 1);

  await flipper(each);
  const times = await keysToPixels(page, [300, 300]);
  figure('key to pixel in the browser, median, 1080p', share(times), 'ms', 35);
  figure('key to pixel in the browser, 95th of 100, 1080p', share(times, 0.95), 'ms', 50);
  figure('resident memory of both processes with a viewer', (await memory(pids)).rss, 'MiB', 90);
});

await session({ screen: '1920x1080', host: { env: { FPS: '60' } } }, async (each) => {
  const page = await each.bare();
  await new BareControl(page).open();
  each.keep(each.screen.start('xterm', ['-geometry', '180x60+0+0', '-e', 'sh', '-c', 'while :; do date; done']));
  await until(() => page.evaluate(() => bare.frames > 60), { deadline: 20000, what: 'frames' });
  const { rate, value: busy } = await shownRate(page, () => each.host.cpuPercent(6000));
  figure('frames a second shown, scrolling text, 1080p', rate, 'fps', 20, 'higher');
  figure('processor share, scrolling text, 1080p', busy, '% of a core');
});

await writeFigures(process.argv[2]);
