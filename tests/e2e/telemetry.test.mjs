import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { BareControl } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

const sections = ['battery', 'crashes', 'network', 'ping', 'processes', 'security', 'storage', 'thermal', 'updates'];
const reportDeadline = 30000;

async function control(session) {
  return new BareControl(await session.bare()).open({ deadline: 20000 });
}

/// Frames shown a second from now on until `action` has ended.
async function frameRate(page, action) {
  const look = () => page.evaluate(() => ({ frames: bare.frames, at: performance.now() }));
  const before = await look();
  await action();
  const after = await look();
  return (after.frames - before.frames) / ((after.at - before.at) / 1000);
}

test('aDiagnosticsReportArrivesOnTheChannelItWasAskedForAndThePictureMovesOn', async (t) => {
  await withSession(t, { autoShare: false, host: { env: { SHARE_IDLE_VIDEO: '1', FPS: '15', WIDTH: '320', HEIGHT: '240' } } },
    async (session) => {
      const viewer = await control(session);
      await until(() => viewer.page.evaluate(() => bare.frames > 30), { deadline: 20000, what: 'frames' });
      const alone = await frameRate(viewer.page, () => until(
        async () => (await viewer.heard('host_stats')).length > 16, { deadline: 20000, what: 'statistics' }));
      let report;
      const meanwhile = await frameRate(viewer.page, async () => {
        report = await viewer.ask({ type: 'diagnostics_run' }, 'diagnostics_result', { deadline: reportDeadline });
      });
      t.diagnostic(`${alone.toFixed(1)} frames a second alone, ${meanwhile.toFixed(1)} while the report was made`);
      assert.deepEqual(Object.keys(report), ['payload', 'type']);
      assert.deepEqual(Object.keys(report.payload).sort(), sections);
      for (const section of sections) assert.equal(typeof report.payload[section], 'object', section);
      assert.ok(report.payload.storage.totalKB > 0);
      assert.ok(report.payload.processes.topCPU.length === 5);
      assert.ok(meanwhile > alone * 0.7, `${alone} frames a second alone, ${meanwhile} meanwhile`);

      const [{ label }] = await viewer.heard('diagnostics_result');
      assert.equal(label, 'control_reliable');
      // The report took its time away from the session: messages were answered before it was ready.
      await viewer.send({ type: 'diagnostics_run' });
      await viewer.settled();
      assert.equal((await viewer.heard('diagnostics_result')).length, 1);
      await until(async () => (await viewer.heard('diagnostics_result')).length === 2, { deadline: reportDeadline, what: 'it' });
      assert.deepEqual(await viewer.heard('ack'), []);
    });
});

test('quittingDoesNotWaitForAReport', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    for (let i = 0; i < 5; i++) await viewer.send({ type: 'diagnostics_run' });
    await viewer.settled();
    const start = performance.now();
    const exit = await session.host.end('SIGTERM', 5000);
    t.diagnostic(`ended after ${Math.round(performance.now() - start)} ms`);
    assert.equal(exit.code, 0, JSON.stringify(exit));
    session.hosts.pop();
  });
});
