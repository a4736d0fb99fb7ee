import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { BareControl, colours, connected, near, rgb, shows } from './lib/viewer.mjs';
import { timed, until } from './lib/wait.mjs';

test('aViewerOnAnotherMachineSeesTheScreenAndControlsIt', async (t) => {
  await withSession(t, { far: true }, async (session) => {
    await session.screen.paint('#3070b0');
    const page = await session.bare();
    await shows(page, '#3070b0', { deadline: 10000 });
    const viewer = await new BareControl(page).open();
    await viewer.takeControl(await session.host.pin());
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.5 }, 'ptr');
    assert.deepEqual(await session.screen.pointer(), { x: 640, y: 360 });
  });
});

// Long enough for "disconnected" and, the second time, for "failed".
for (const seconds of [12, 25]) {
  test(`theSessionComesBackAfterTheCableWasOutFor_${seconds}_s`, async (t) => {
    await withSession(t, { far: true }, async (session) => {
      await session.screen.paint('#c08020');
      const page = await session.viewer();
      await connected(page);
      await shows(page, '#c08020');
      await session.far.unplug();
      const end = performance.now() + seconds * 1000;
      await session.host.line(/^ICE state: disconnected/, { deadline: 20000 });
      await session.screen.paint('#20c080');
      await until(() => performance.now() > end, { deadline: seconds * 1000 + 1000, what: 'the time to pass' });
      await session.far.plug();
      const { ms } = await timed(() => shows(page, '#20c080', { deadline: 15000 }));
      t.diagnostic(`picture ${ms} ms after the cable was back`);
      await connected(page);
      assert.ok(session.host.log.includes('[ice] restartIce invoked'));
      assert.ok(ms < 10000, `${ms} ms`);
    });
  });
}

test('aThinLinkStillShowsChangesSoon', async (t) => {
  await withSession(t, { far: true, screen: '1920x1080' }, async (session) => {
    await session.far.shape({ rate: '1mbit' });
    await session.screen.paint('#101010');
    const page = await session.bare();
    await shows(page, '#101010', { deadline: 15000 });
    session.keep(session.screen.start('xterm', ['-geometry', '100x30+0+0', '-e', 'sh', '-c', 'while :; do date; sleep 0.2; done']));
    const times = [];
    for (const colour of ['#a02020', '#20a020', '#2020a0', '#a0a020']) {
      await session.screen.paint(colour);
      times.push((await timed(async () => {
        await until(async () => {
          const seen = await colours(page, [[0.9, 0.9]]);
          return near(seen[0], rgb(colour), 24);
        }, { deadline: 8000, what: colour });
      })).ms);
    }
    t.diagnostic(`changes seen after ${times.join(', ')} ms`);
    assert.ok(Math.max(...times) < 3000, `${times.join(', ')} ms`);
  });
});
