// The reports that the panel of diagnostics requests, without a page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Reports } from '../../../companion/viewer/tools/diagnostics/reports.js';

const at = Date.parse('2026-11-22T18:00:00');

test('keeps the five latest reports that were requested', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  const sent = [];
  const added = [];
  const reports = new Reports(
    (message) => sent.push(message),
    (kept) => kept && added.push(kept.number),
  );
  const receive = (payload) => reports.receive({ type: 'diagnostics_result', payload }, { host: 'Desk', room: 'r' });
  receive({ n: 0 });
  assert.deepEqual(reports.reports, []);
  for (let n = 1; n <= 7; ++n) {
    assert.equal(reports.run(), true);
    assert.equal(reports.run(), false);
    t.mock.timers.tick(2000);
    receive({ n });
    receive({ n: 99 });
  }
  assert.deepEqual(
    reports.reports.map(({ report, seconds }) => [report.n, seconds]),
    [
      [7, 2],
      [6, 2],
      [5, 2],
      [4, 2],
      [3, 2],
    ],
  );
  assert.deepEqual(sent[0], { type: 'diagnostics_run' });
  assert.equal(sent.length, 7);
  assert.equal(reports.before(reports.reports[0]).report.n, 6);
  assert.equal(reports.before(reports.reports[4]), null);
});

test('a report that does not come, comes late, or cannot be read', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  let open = true;
  const reports = new Reports(
    () => open,
    () => {},
  );
  const receive = (payload) => reports.receive({ type: 'diagnostics_result', payload }, {});
  reports.run();
  t.mock.timers.tick(44999);
  assert.deepEqual([reports.waiting, reports.problem], [true, '']);
  t.mock.timers.tick(1);
  assert.deepEqual([reports.waiting, reports.problem], [false, 'silent']);
  receive({ late: true });
  assert.deepEqual([reports.reports.length, reports.problem], [1, '']);
  let deep = {};
  for (let depth = 0; depth < 20000; ++depth) deep = { deep };
  for (const payload of [undefined, null, 'text', [1], { text: 'x'.repeat(300000) }, deep]) {
    reports.run();
    receive(payload);
    assert.deepEqual([reports.waiting, reports.problem, reports.reports.length], [false, 'unreadable', 1]);
  }
  reports.run();
  reports.lose();
  assert.deepEqual([reports.waiting, reports.problem], [false, 'lost']);
  receive({ other: 'connection' });
  assert.equal(reports.reports.length, 1);
  open = false;
  assert.equal(reports.run(), false);
  assert.equal(reports.waiting, false);
});

test('a host that answers no requests is not asked for ever, and each ends with a reason', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  let sent = 0;
  let changes = 0;
  const reports = new Reports(
    () => (sent += 1),
    () => (changes += 1),
  );
  for (let n = 1; n <= 8; ++n) {
    assert.equal(reports.run(), true);
    t.mock.timers.tick(45000);
    assert.deepEqual([reports.waiting, reports.problem], [false, 'silent']);
  }
  changes = 0;
  assert.equal(reports.run(), false);
  assert.deepEqual([sent, reports.waiting, reports.problem, changes], [8, false, 'full', 1]);
  reports.receive({ type: 'diagnostics_result', payload: { late: true } }, {});
  assert.deepEqual([reports.reports.length, reports.problem], [1, '']);
  assert.equal(reports.run(), true);
  t.mock.timers.tick(45000);
  assert.equal(reports.run(), false);
  reports.lose();
  assert.equal(reports.problem, '');
  assert.equal(reports.run(), true);
});
