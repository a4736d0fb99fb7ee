// The cable is out for longer than any timeout, and is then plugged in again.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { connected, shows } from './lib/viewer.mjs';
import { timed, until } from './lib/wait.mjs';

// Long enough for "disconnected" (12 s), for "failed" (25 s), and for the connection to the room to be closed: the
// viewer's, or with `roomFar` the host's (30 s). Without VANTORA_SOAK only the shortest and the longest.
const outages = [[12, false], [30, true], ...(process.env.VANTORA_SOAK ? [[25, false], [12, true]] : [])];
for (const [seconds, roomFar] of outages) {
  const whose = roomFar ? 'HostsOnlyCable' : 'Cable';
  test(`theSessionComesBackAfterThe${whose}WasOutFor_${seconds}_s`, async (t) => {
    await withSession(t, { far: true, roomFar }, async (session) => {
      await session.screen.paint('#c08020');
      const page = await session.viewer();
      await connected(page);
      await shows(page, '#c08020');
      await session.far.unplug();
      const end = performance.now() + seconds * 1000;
      await session.host.line(/^ICE state: disconnected/);
      await session.screen.paint('#20c080');
      await until(() => performance.now() > end, { deadline: seconds * 1000 + 1000, what: 'the time to pass' });
      await session.far.plug();
      const { ms } = await timed(() => shows(page, '#20c080'));
      t.diagnostic(`video ${ms} ms after the cable was back`);
      await connected(page);
      assert.ok(session.host.log.includes('[ice] restartIce invoked'));
      assert.ok(ms < 10000, `${ms} ms`);
    });
  });
}
