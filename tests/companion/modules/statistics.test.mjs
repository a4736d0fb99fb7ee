// Figures of the stream and of the host, and how they are kept and written.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { figuresOf } from '../../../companion/viewer/picture/stats.js';
import { pieces } from '../../../companion/viewer/tools/statistics/graph.js';
import { History, summaryOf, systemOf } from '../../../companion/viewer/tools/statistics/history.js';
import { bytesText, durationText, millisecondsText, percentText, scaleEnd } from '../../../companion/viewer/tools/statistics/units.js';

const stream = (more) => ({ id: 'V', type: 'inbound-rtp', kind: 'video', timestamp: 1000, bytesReceived: 1000, framesDecoded: 10, ...more });
const report = (...entries) => new Map(entries.map((entry, at) => [entry.id ?? `E${at}`, entry]));

test('counts delays and losses since the report before', () => {
  const first = figuresOf(report(stream({ totalDecodeTime: 1, jitterBufferDelay: 2, jitterBufferEmittedCount: 10, packetsLost: 4,
    packetsReceived: 100, freezeCount: 1, jitter: 0.0125 })), null);
  assert.deepEqual([first.decodeMs, first.delayMs, first.lossPct, first.freezes, first.jitterMs], [null, null, null, 1, 12.5]);
  const second = figuresOf(report(stream({ timestamp: 2000, framesDecoded: 30, totalDecodeTime: 1.1, jitterBufferDelay: 2.6,
    jitterBufferEmittedCount: 30, packetsLost: 9, packetsReceived: 195, freezeCount: 3 })), first);
  assert.deepEqual([second.decodeMs, second.delayMs].map(Math.round), [5, 30]);
  assert.equal(second.lossPct, 5);
  assert.equal(second.freezes, 3);
});

test('leaves out what the browser does not report', () => {
  const first = figuresOf(report(stream()), null);
  const second = figuresOf(report(stream({ timestamp: 2000, bytesReceived: 3000, framesDecoded: 30 })), first);
  assert.deepEqual(['decodeMs', 'delayMs', 'lossPct', 'freezes', 'jitterMs', 'roundTripMs'].map((key) => second[key]), Array(6).fill(null));
  assert.equal(second.fps, 20);
});

test('a packet that was thought lost and came later is no negative loss', () => {
  const first = figuresOf(report(stream({ packetsLost: 5, packetsReceived: 100 })), null);
  const second = figuresOf(report(stream({ timestamp: 2000, packetsLost: 3, packetsReceived: 150 })), first);
  assert.equal(second.lossPct, 0);
});

test('the round trip is that of the connection in use', () => {
  const pair = { type: 'candidate-pair', nominated: true, state: 'succeeded', currentRoundTripTime: 0.02, bytesReceived: 10 };
  const entries = [pair, { ...pair, currentRoundTripTime: 0.5, bytesReceived: 5 }, { ...pair, nominated: false, bytesReceived: 99 }];
  assert.equal(figuresOf(report(stream(), ...entries), null).roundTripMs, 20);
});

test('keeps a value a second, and shows seconds without one as gaps', () => {
  const history = new History();
  const at = (second) => 1000 * second + (second % 2) * 40;
  history.record({ sys: { cpuPct: 10 } }, at(1));
  history.record({ sys: { cpuPct: 20 } }, at(2));
  history.record({}, at(3));
  history.record({ sys: { cpuPct: 30 } }, at(6));
  assert.deepEqual(history.values('cpu', 7), [NaN, 10, 20, NaN, NaN, NaN, 30]);
  for (let second = 7; second < 700; second++) history.record({ sys: { cpuPct: second % 100 } }, at(second));
  assert.equal(history.values('cpu', 5000).length, 600);
  assert.equal(history.values('cpu', 1)[0], 99);
  history.record({ sys: { cpuPct: 1 } }, at(90000));
  assert.equal(summaryOf(history.values('cpu', 600)).max, 1);
});

test('finds the smallest, the largest and the newest figure', () => {
  assert.deepEqual(summaryOf([NaN, 4, 2, NaN, 3]), { min: 2, max: 4, now: 3 });
  assert.deepEqual(summaryOf([4, NaN]), { min: 4, max: 4, now: null });
  assert.equal(summaryOf([NaN, NaN]), null);
});

test('a graph is interrupted where figures are missing', () => {
  const place = (value, index) => [index, value];
  assert.deepEqual(pieces([NaN, 1, 2, NaN, 3], place), [[[1, 1], [2, 2]], [[4, 3]]]);
  assert.deepEqual(pieces([NaN], place), []);
});

test('takes usable figures of the machine and nothing else', () => {
  const top = [{ pid: 3, name: 'x'.repeat(500), cpuPct: 'much', rssBytes: 5 }, { pid: '4', name: 'y' }, null, { pid: 6, name: {} }];
  const taken = systemOf({ cpuPct: 12, memTotalBytes: '1', netRxKbps: Infinity, netTxKbps: -3, disk: { usedPct: 40, totalBytes: {} }, top });
  assert.deepEqual(taken, { cpuPct: 12, disk: { usedPct: 40, totalBytes: null, usedBytes: null },
    top: [{ pid: 3, name: 'x'.repeat(120), cpuPct: null, rssBytes: 5, exe: '' }] });
  assert.equal(systemOf(undefined), null);
  assert.equal(systemOf('text'), null);
  assert.deepEqual(systemOf({ top: Array(500).fill({ pid: 1, name: 'a' }) }).top.length, 32);
  assert.deepEqual(systemOf({ disk: 'none', top: 'many' }), { top: [] });
});

test('writes figures as people read them', () => {
  assert.deepEqual([0, 999, 1000, 12345678, 99_960_000, 8.1e12, 5e16].map(bytesText),
    ['0 bytes', '999 bytes', '1.0 kB', '12.3 MB', '100 MB', '8.1 TB', '50000 TB']);
  assert.deepEqual([0, 0.4, 9.96, 61.4].map(percentText), ['0 %', '0.4 %', '10 %', '61 %']);
  assert.deepEqual([0.44, 12.3].map(millisecondsText), ['0.4 ms', '12 ms']);
  assert.deepEqual([0, 75, 3600, 36061].map(durationText), ['00:00', '01:15', '1:00:00', '10:01:01']);
  assert.deepEqual([0, 99, 101, 230, 3000, 1000].map((value) => scaleEnd(value, 100)), [100, 100, 200, 500, 5000, 1000]);
});
