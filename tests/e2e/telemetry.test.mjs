import assert from 'node:assert/strict';
import { readFile, statfs, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { temporaryDirectory } from './lib/paths.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl, received } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

const sections = ['battery', 'crashes', 'network', 'ping', 'processes', 'security', 'storage', 'thermal', 'updates'];
const reportDeadline = 60000;

async function control(session) {
  return new BareControl(await session.bare()).open();
}

/// Frames shown a second from now on until `action` has ended.
async function frameRate(page, action) {
  const sample = () => page.evaluate(() => ({ frames: bare.frames, at: performance.now() }));
  const before = await sample();
  await action();
  const after = await sample();
  return (after.frames - before.frames) / ((after.at - before.at) / 1000);
}

test('aDiagnosticsReportArrivesOnTheChannelItWasAskedForAndTheVideoGoesOn', async (t) => {
  await withSession(t, { autoShare: false, host: { env: { SHARE_IDLE_VIDEO: '1', FPS: '15', WIDTH: '320', HEIGHT: '240' } } },
    async (session) => {
      const viewer = await control(session);
      await until(() => viewer.page.evaluate(() => bare.frames > 30), { what: 'frames' });
      const alone = await frameRate(viewer.page, () => until(
        async () => (await viewer.received('host_stats')).length > 16, { what: 'statistics' }));
      let report;
      // The best of some: a single one depends on the load of the machine.
      let meanwhile = 0;
      for (let attempt = 0; attempt < 4 && meanwhile <= alone * 0.7; attempt++) {
        const rate = await frameRate(viewer.page, async () => {
          report = await viewer.ask({ type: 'diagnostics_run' }, 'diagnostics_result', { deadline: reportDeadline });
        });
        t.diagnostic(`${alone.toFixed(1)} frames a second alone, ${rate.toFixed(1)} while the report was made`);
        meanwhile = Math.max(meanwhile, rate);
      }
      assert.deepEqual(Object.keys(report), ['payload', 'type']);
      assert.deepEqual(Object.keys(report.payload).sort(), sections);
      for (const section of sections) assert.equal(typeof report.payload[section], 'object', section);
      assert.ok(report.payload.storage.totalKB > 0);
      assert.ok(report.payload.processes.topCPU.length === 5);
      assert.ok(meanwhile > alone * 0.7, `${alone} frames a second alone, ${meanwhile} meanwhile`);

      const [{ label }] = await viewer.received('diagnostics_result');
      assert.equal(label, 'control_reliable');
      // The report ran in parallel to the session: replies were sent before it was ready.
      const reports = (await viewer.received('diagnostics_result')).length;
      await viewer.page.evaluate(() => {
        bare.send({ type: 'diagnostics_run' });
        bare.send({ type: 'ping', t0: 4711 });
      });
      await until(async () => (await viewer.received('diagnostics_result')).length > reports, { deadline: reportDeadline, what: 'it' });
      const order = (await viewer.page.evaluate(() => bare.messages.map(({ message }) => message)))
        .filter(({ type, t0 }) => type === 'diagnostics_result' || (type === 'pong' && t0 === 4711));
      assert.deepEqual(order.slice(reports).map(({ type }) => type), ['pong', 'diagnostics_result']);
      assert.deepEqual(await viewer.received('ack'), []);
    });
});

test('statisticsHaveTheMachinesOwnFiguresFourTimesASecond', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    const stats = () => viewer.received('host_stats');
    const systems = async () => (await stats()).map(({ message }) => message.sys);
    assert.equal((await stats()).every(({ label }) => label === 'control_reliable'), true);
    const first = await until(async () => (await systems()).find((sys) => sys?.top), { what: 'figures' });
    assert.deepEqual(['netRxKbps', 'netTxKbps'].filter((key) => key in first), []);

    const meminfo = await readFile('/proc/meminfo', 'utf8');
    const volume = await statfs('/');
    assert.equal(first.memTotalBytes, Number(meminfo.match(/MemTotal:\s+(\d+)/)[1]) * 1024);
    assert.ok(first.memUsedBytes > 0 && first.memUsedBytes < first.memTotalBytes);
    assert.equal(first.disk.totalBytes, volume.blocks * volume.bsize);
    assert.ok(first.cpuPct >= 0 && first.cpuPct <= 100);
    assert.equal(first.top.length, 11);
    for (const process of first.top) {
      assert.ok(Number.isInteger(process.pid) && process.name.length > 0 && !process.name.includes('/'), JSON.stringify(process));
    }

    // A process that is busy is named, with about the share it takes.
    const busy = session.keep(session.screen.start('sh', ['-c', 'while :; do :; done']));
    const seen = await until(async () => {
      const top = (await systems()).at(-1)?.top ?? [];
      return top.find(({ pid, cpuPct }) => pid === busy.pid && cpuPct > 10);
    }, { what: 'the busy process' });
    assert.ok(seen.cpuPct <= 150 && seen.rssBytes > 0, JSON.stringify(seen));
    const link = await until(async () => (await stats()).at(-1).message.link, { what: 'figures of the connection' });
    assert.ok(Number.isInteger(link.estimateKbps) && link.estimateKbps > 100, JSON.stringify(link));
    assert.equal(link.codec, (await received(viewer.page)).codec);
    assert.ok('netRxKbps' in (await systems()).at(-1) && 'netTxKbps' in (await systems()).at(-1));

    // Each figure stands for about a second, that is for about four messages.
    const all = (await systems()).filter((sys) => sys?.top).map((sys) => JSON.stringify(sys));
    const different = all.filter((sys, index) => sys !== all[index - 1]).length;
    assert.ok(different <= all.length / 2, `${different} of ${all.length}`);
  });
});

test('aReportOfHundredsOfLongLinesArrivesInOneMessage', async (t) => {
  const tools = await temporaryDirectory('tools');
  try {
    await writeFile(join(tools.path, 'apt'), '#!/bin/sh\n' +
      'yes "package/stable [upgradable from: 1] $(printf %0900d 0)" | head -n 500\n', { mode: 0o755 });
    await withSession(t, { host: { env: { PATH: `${tools.path}:${process.env.PATH}` } } }, async (session) => {
      const viewer = await control(session);
      const report = await viewer.ask({ type: 'diagnostics_run' }, 'diagnostics_result', { deadline: reportDeadline });
      const size = JSON.stringify(report).length;
      t.diagnostic(`${size} characters`);
      assert.ok(size > 30000 && size < 65536, `${size} characters`);
      assert.deepEqual(Object.keys(report.payload).sort(), sections);
      await viewer.settled();
    });
  } finally {
    await tools.remove();
  }
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
