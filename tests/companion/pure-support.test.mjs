// What the panels of commands and diagnostics make of a host's answers, without a page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { COMMANDS } from '../../companion/viewer/tools/commands/list.js';
import { outcomeOf } from '../../companion/viewer/tools/commands/outcome.js';
import { CommandRuns } from '../../companion/viewer/tools/commands/runs.js';
import { changesSince, findings, verdict } from '../../companion/viewer/tools/diagnostics/findings.js';
import { Reports } from '../../companion/viewer/tools/diagnostics/reports.js';
import { sections } from '../../companion/viewer/tools/diagnostics/sections.js';
import { ageText, fileName, reportJson, reportText } from '../../companion/viewer/tools/diagnostics/text.js';

const at = Date.parse('2026-11-22T18:00:00');

// A machine on which nothing is wrong and about which the host knows everything.
const healthy = () => ({
  network: {
    ssid: 'Office', rssi: -55, noise: -95, txRate: '433.3', signalBars: 3, ip: '192.168.1.20', dns: '192.168.1.1',
    gateway: '192.168.1.1', portal: { status: 'open' }, proxy: { enabled: false, summary: '' }, vpn: [],
  },
  ping: { gateway_ok: true, gateway_ms: 1.2, dns_ok: true, dns_ms: 1.3, internet_ok: true, internet_ms: 14.2 },
  crashes: { recent: [], kernelPanics: 0, repeat: [] },
  storage: {
    totalKB: 500 * 1024 * 1024, usedKB: 200 * 1024 * 1024, availKB: 300 * 1024 * 1024, freePct: 60, cachesPretty: '1.5 GB',
    downloadsPretty: '0 KB', appsPretty: '7.2 GB', iosBackupsPretty: '0 KB', snapshots: 0, spotlightStatus: 'Idle', smartStatus: 'Verified',
  },
  battery: { cycleCount: 120, healthPct: 93 },
  processes: {
    topCPU: [{ pid: 812, cpuPct: 12.5, name: 'firefox' }],
    topMem: [{ pid: 812, memPct: 14.1, rssKB: 1150000, name: 'firefox' }],
  },
  updates: { current: 'Debian GNU/Linux 12 (bookworm)', available: [] },
  security: { sip: true, gatekeeper: true, firewall: 'On' },
  thermal: { state: 'nominal', batteryC: 31.5 },
});

// The severities of what is found when some sections of a healthy machine have other values, by id.
function found(changes) {
  const report = healthy();
  for (const [section, values] of Object.entries(changes)) report[section] = { ...report[section], ...values };
  return Object.fromEntries(findings(report, at).findings.map(({ id, severity }) => [id, severity]));
}

const text = (changes) => {
  const report = healthy();
  for (const [section, values] of Object.entries(changes)) report[section] = { ...report[section], ...values };
  return findings(report, at).findings.map((each) => `${each.text} ${each.advice}`.trim()).join('\n');
};

test('finds nothing on a healthy machine and says what was checked', () => {
  const result = findings(healthy(), at);
  const { findings: list, checked, unknown } = result;
  assert.deepEqual(list, []);
  assert.deepEqual(unknown, []);
  assert.equal(checked.length, 15);
  assert.equal(verdict(result), 'Nothing is wrong.');
  assert.equal(verdict(findings({ ...healthy(), battery: {}, thermal: {} }, at)), 'Nothing wrong was found.');
});

test('knows nothing about an empty report', () => {
  for (const report of [{}, { network: {}, ping: {}, crashes: {}, storage: {}, battery: {}, processes: {}, updates: {}, security: {}, thermal: {} }]) {
    const { findings: list, checked, unknown } = findings(report, at);
    assert.deepEqual(list, []);
    assert.deepEqual(checked, []);
    assert.equal(unknown.length, 15);
    assert.equal(verdict({ findings: list, checked, unknown }), 'The report says nothing that can be checked.');
  }
});

const boundaries = {
  'a disk': ['storage', 'disk', [[{ freePct: 10.01 }, undefined], [{ freePct: 10 }, 'warning'], [{ freePct: 5.01 }, 'warning'],
    [{ freePct: 5 }, 'bad'], [{ freePct: 0 }, 'bad'], [{ freePct: 100 }, undefined]]],
  'a disk of which only the sizes are known': ['storage', 'disk', [[{ freePct: undefined, totalKB: 1000, availKB: 101 }, undefined],
    [{ freePct: undefined, totalKB: 1000, availKB: 100 }, 'warning'], [{ freePct: undefined, totalKB: 1000, availKB: 50 }, 'bad'],
    [{ freePct: undefined, totalKB: 0, availKB: 0 }, undefined], [{ freePct: undefined, totalKB: 10, availKB: 11 }, undefined]]],
  'a drive': ['storage', 'drive', [[{ smartStatus: 'Failing' }, 'bad'], [{ smartStatus: 'Not Supported' }, undefined]]],
  'a worn battery': ['battery', 'battery', [[{ healthPct: 80 }, undefined], [{ healthPct: 79 }, 'warning'], [{ healthPct: 50 }, 'warning'],
    [{ healthPct: 49 }, 'bad'], [{ healthPct: 0 }, 'bad']]],
  'a warm battery': ['thermal', 'battery-heat', [[{ batteryC: 44.9 }, undefined], [{ batteryC: 45 }, 'warning'], [{ batteryC: 60 }, 'bad'],
    [{ batteryC: 1e9 }, undefined]]],
  'a temperature': ['thermal', 'temperature', [[{ state: 'fair' }, 'warning'], [{ state: 'serious' }, 'bad'], [{ state: 'critical' }, 'bad'],
    [{ state: 'unknown' }, undefined], [{ state: 'toString' }, undefined]]],
  'a firewall': ['security', 'firewall', [[{ firewall: 'Off' }, 'warning'], [{ firewall: 'maybe' }, undefined]]],
  'unsigned packages': ['security', 'packages', [[{ gatekeeper: false }, 'warning']]],
  'an unprotected system': ['security', 'protection', [[{ sip: false }, 'note']]],
  'crashes of the system': ['crashes', 'panics', [[{ kernelPanics: 1 }, 'bad'], [{ kernelPanics: 20 }, 'bad']]],
  'wireless signals': ['network', 'wireless', [[{ rssi: -70 }, undefined], [{ rssi: -71 }, 'warning'], [{ rssi: 5 }, undefined]]],
  'a greedy program': ['processes', 'memory', [[{ topMem: [{ name: 'a', memPct: 49.9 }] }, undefined], [{ topMem: [{ name: 'a', memPct: 50 }] }, 'warning']]],
  'a busy program': ['processes', 'processor', [[{ topCPU: [{ name: 'a', cpuPct: 79.9 }] }, undefined], [{ topCPU: [{ name: 'a', cpuPct: 80 }] }, 'note']]],
  'a slow internet': ['ping', 'internet-slow', [[{ internet_ms: 249 }, undefined], [{ internet_ms: 250 }, 'warning']]],
  'a slow gateway': ['ping', 'gateway-slow', [[{ gateway_ms: 99 }, undefined], [{ gateway_ms: 100 }, 'warning']]],
  'a VPN': ['network', 'vpn', [[{ vpn: ['Work'] }, 'note']]],
  'a proxy': ['network', 'proxy', [[{ proxy: { enabled: true, summary: 'HTTPProxy : a:1' } }, 'note'], [{ proxy: { enabled: 'yes' } }, undefined]]],
};
for (const [what, [section, id, cases]] of Object.entries(boundaries)) {
  test(`judges ${what}`, () => {
    for (const [values, severity] of cases) {
      const all = found({ [section]: values });
      assert.equal(all[id], severity, JSON.stringify(values));
      assert.deepEqual(Object.keys(all), severity ? [id] : [], JSON.stringify(values));
    }
  });
}

test('says what fills a disk', () => {
  assert.equal(text({ storage: { freePct: 4.2, availKB: 21 * 1024 * 1024, snapshots: 2 } }),
    'The disk is 95 % full: 21.0 GB of 500.0 GB are free. Delete or move what is not needed. Of this user: caches 1.5 GB. '
    + '2 snapshots may hold deleted files.');
});

test('security updates count more than others', () => {
  const plain = 'nano/stable 7.2-2 amd64 [upgradable from: 7.2-1]';
  const urgent = 'openssl/stable-security 3.0.15-1 amd64 [upgradable from: 3.0.14-1]';
  assert.equal(text({ updates: { available: [plain] } }), '1 update waits to be installed. Install them when the host can be spared.');
  assert.deepEqual(found({ updates: { available: [plain] } }), { updates: 'warning' });
  assert.deepEqual(found({ updates: { available: [plain, urgent] } }), { updates: 'bad' });
  assert.match(text({ updates: { available: [plain, urgent] } }), /^2 updates wait to be installed, 1 of them for security\./);
  // The name of the package itself says nothing.
  assert.deepEqual(found({ updates: { available: ['libsecurity-java/stable 1 all [upgradable from: 0]'] } }), { updates: 'warning' });
  assert.deepEqual(found({ updates: { available: ['openssl.x86_64 3.0-1 rhel-9-security'] } }), { updates: 'bad' });
  assert.match(text({ updates: { available: Array(200).fill(plain) } }), /^120 or more updates wait/);
});

test('tells crashes that repeat and old ones from the latest', () => {
  const crash = (name, time) => ({ name, time, file: `/usr/bin/${name}` });
  assert.deepEqual(found({ crashes: { recent: [crash('gimp', '2026-11-20T10:00:00')] } }), { crashes: 'warning' });
  assert.deepEqual(found({ crashes: { recent: [crash('gimp', '2026-09-01T10:00:00')] } }), { crashes: 'note' });
  assert.deepEqual(found({ crashes: { recent: [crash('gimp', 'never')] } }), { crashes: 'warning' });
  assert.deepEqual(found({ crashes: { repeat: [{ name: 'gimp', count: 2 }] } }), {});
  assert.equal(text({ crashes: { repeat: [{ name: 'gimp', count: 3 }, { name: 'vlc', count: 7 }] } }),
    '2 programs keep crashing: gimp (3 times), vlc (7 times). Update or reinstall what crashes.');
  assert.equal(text({ crashes: { recent: [crash('gimp', '2026-11-20T10:00:00')] } }), 'The last program that crashed was gimp, at 2026-11-20 10:00.');
});

test('tells a silent internet from blocked pings and from a login page', () => {
  const silent = { internet_ok: false, internet_ms: undefined };
  assert.deepEqual(found({ ping: silent }), {});
  assert.deepEqual(found({ ping: silent, network: { portal: { status: 'unknown' } } }), { internet: 'bad' });
  assert.deepEqual(found({ ping: silent, network: { portal: undefined } }), { internet: 'bad' });
  assert.deepEqual(found({ network: { portal: { status: 'captive' } } }), { internet: 'bad' });
  assert.deepEqual(found({ network: { gateway: undefined }, ping: { ...silent, gateway_ok: undefined } }), {});
  assert.deepEqual(found({ network: { gateway: undefined, portal: {} }, ping: silent }), { internet: 'bad', gateway: 'warning' });
  assert.deepEqual(found({ ping: { gateway_ok: false, dns_ok: false } }), { 'gateway-silent': 'note', 'dns-silent': 'note' });
  assert.deepEqual(found({ ping: { ...silent, gateway_ok: false }, network: { portal: {} } }), { internet: 'bad', 'gateway-silent': 'warning' });
});

test('puts the worst first', () => {
  assert.deepEqual(Object.values(found({ security: { sip: false, firewall: 'Off' }, storage: { smartStatus: 'Failing' }, network: { vpn: ['x'] } })),
    ['bad', 'warning', 'note', 'note']);
  assert.equal(verdict(findings({ security: { firewall: 'Off', sip: false } }, at)), '1 thing needs attention.');
});

test('compares with the report before', () => {
  const before = findings({ ...healthy(), storage: { freePct: 8 }, updates: { available: ['a/stable-security 1'] }, network: { ip: 'x', gateway: 'x', vpn: ['Work'] },
    thermal: { state: 'fair' } }, at);
  const now = findings({ ...healthy(), storage: { freePct: 3 }, updates: { available: ['a/stable 1'] }, network: { gateway: 'x', proxy: { enabled: true } }, thermal: {} }, at);
  const { added, gone } = changesSince(before, now);
  assert.deepEqual([...added], ['disk', 'proxy']);
  // Its temperature is not known, which is no improvement.
  assert.deepEqual(gone.map(({ id }) => id), ['vpn']);
});

// Values that a report of a broken or hostile host may have in any place.
const HOSTILE = [null, true, false, 0, -1, 1e308, Number.NaN, Number.POSITIVE_INFINITY, '', ' ', 'x'.repeat(100000), '<b>x</b>', 'a\u0000\u202eb\n', [], {}, [[]],
  [null, 1, 'x', {}, [], { name: {}, pid: 'x', count: -1 }], { status: {}, enabled: 1, summary: [] }, Array(100000).fill('x y z')];

test('survives any value in any place', () => {
  const check = (report) => {
    const { findings: list } = findings(report, at);
    for (const each of list) assert.ok(each.text.length < 3000 && !/[\p{Cc}\u202e]/u.test(each.text), each.id);
    const all = sections(report);
    assert.equal(all.length, 9);
    for (const { rows, tables } of all) {
      for (const cell of [...rows.flat(), ...tables.flatMap((table) => table.rows.flat())]) {
        assert.ok(cell === null || (typeof cell === 'string' && !/[\p{Cc}\u202e]|undefined|NaN|\[object/u.test(cell)), JSON.stringify(cell)?.slice(0, 80));
      }
      for (const table of tables) assert.ok(table.rows.length <= 120);
    }
    assert.ok(reportText({ report, at, host: '', room: 'r' }).length < 300000);
  };
  for (const value of HOSTILE) {
    check(value);
    for (const section of Object.keys(healthy())) {
      check({ ...healthy(), [section]: value });
      for (const key of Object.keys(healthy()[section])) check({ ...healthy(), [section]: { ...healthy()[section], [key]: value } });
    }
  }
  check(JSON.parse('{"__proto__": {"storage": {"freePct": 1}}, "constructor": 1}'));
  assert.deepEqual(findings(JSON.parse('{"__proto__": {"storage": {"freePct": 1}}}'), at).findings, []);
});

test('says what is not known', () => {
  for (const { title, rows, tables } of sections({})) {
    for (const [label, value] of rows) assert.ok(value === null || /not known/.test(value), `${title} ${label}: ${value}`);
    for (const cell of tables.flatMap((table) => table.rows.map(([, answer]) => answer))) assert.equal(cell, null);
  }
  const lines = reportText({ report: {}, at, host: 'Desk', room: 'r' });
  assert.match(lines, /^Diagnostics of Desk, /);
  assert.match(lines, /^Size: +not known$/m);
  assert.match(lines, /^Checked: nothing\.$/m);
});

test('shows a report as text', () => {
  const lines = reportText({ report: { ...healthy(), updates: { available: ['nano/stable 7.2-2 amd64 [upgradable from: 7.2-1]'] } }, at, host: 'Desk', room: 'desk-7' });
  for (const line of [/^1 thing needs attention\.$/m, /^- Warning: 1 update waits/m, /^Free: +300\.0 GB \(60\.0 %\)$/m, /^Signal: +-55 dBm, 3 of 4 bars$/m, /^Rate: +433\.3 Mbit\/s$/m,
    /^ {2}firefox +812 +1\.1 GB +14\.1 %$/m, /^ {2}Internet +yes +14\.2 ms$/m, /^Downloads of the user: +none, or not measured$/m, /nano\/stable 7\.2-2/]) {
    assert.match(lines, line);
  }
});

test('names the file after host and time', () => {
  const kept = { host: 'Jürgens "PC"/../x', room: 'desk-7', at, report: { a: 1 } };
  assert.equal(fileName(kept), 'diagnostics-Ju-rgens-PC-x-2026-11-22-1800.json');
  assert.equal(fileName({ ...kept, host: '' }), 'diagnostics-desk-7-2026-11-22-1800.json');
  assert.equal(fileName({ ...kept, host: '…' }), 'diagnostics-host-2026-11-22-1800.json');
  assert.deepEqual(JSON.parse(reportJson(kept)), { host: kept.host, room: 'desk-7', time: new Date(at).toISOString(), report: { a: 1 } });
});

test('says how old a report is', () => {
  assert.deepEqual([0, 59999, 60000, 125000, 3600000, 7300000].map(ageText), ['just now', 'just now', '1 minute ago', '2 minutes ago', '1 hour ago', '2 hours ago']);
});

test('keeps the five latest reports that were requested', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  const sent = [];
  const added = [];
  const reports = new Reports((message) => sent.push(message), (kept) => kept && added.push(kept.number));
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
  assert.deepEqual(reports.reports.map(({ report, seconds }) => [report.n, seconds]), [[7, 2], [6, 2], [5, 2], [4, 2], [3, 2]]);
  assert.deepEqual(sent[0], { type: 'diagnostics_run' });
  assert.equal(sent.length, 7);
  assert.equal(reports.before(reports.reports[0]).report.n, 6);
  assert.equal(reports.before(reports.reports[4]), null);
});

test('a report that does not come, comes late, or cannot be read', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  let open = true;
  const reports = new Reports(() => open, () => {});
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

const command = (id) => COMMANDS.find((each) => each.id === id);
const outcome = (message, seconds = 1, id = 'reveal-downloads') => outcomeOf({ type: 'command_result', id, ...message }, command(id), seconds);

test('names the nine commands of the host, and asks before what closes something', () => {
  assert.deepEqual(COMMANDS.map(({ id }) => id).sort(), ['clear-chrome-cache', 'clear-safari-cache', 'dns-flush', 'hide-hidden-files',
    'open-activity-monitor', 'open-terminal', 'reveal-downloads', 'show-hidden-files', 'toggle-dark-mode']);
  assert.deepEqual(COMMANDS.filter(({ confirm }) => confirm).map(({ id }) => id), ['clear-chrome-cache', 'clear-safari-cache']);
});

test('says in words what became of a command', () => {
  const words = (message, seconds, id) => outcome({ ok: false, stdout: '', ...message }, seconds, id).words;
  assert.equal(words({ ok: true, code: 0 }), 'Done.');
  assert.equal(words({ code: 3, stderr: 'x' }), 'Failed with status 3.');
  assert.equal(words({ code: 127, stderr: 'No file manager is installed\n' }), 'Not possible on this host: No file manager is installed');
  assert.equal(words({ code: 127, stderr: '' }), 'Not possible on this host.');
  assert.equal(words({ code: 127, stderr: 'Failed to start: too many commands are running' }), 'Not started: too many commands are running');
  assert.equal(words({ code: 126, stderr: '' }, 5, 'dns-flush'), 'Not confirmed: the dialog on the host was dismissed.');
  assert.equal(words({ code: 126, stderr: '' }), 'Failed with status 126.');
  assert.equal(words({ code: 143 }, 20.1), 'Stopped by the host after 20 seconds.');
  assert.match(words({ code: 137 }, 20.6, 'dns-flush'), /nobody answered the dialog/);
  assert.equal(words({ code: 143 }, 2), 'Ended on the host by signal 15.');
  assert.equal(words({ code: 139 }, 2), 'Ended on the host by signal 11.');
  assert.match(words({ code: -1, stderr: 'The command could not be ended' }), /may still be running/);
  assert.equal(words({ code: -1, stderr: 'Command not allowed' }), 'This host does not know the command.');
  assert.deepEqual(outcome({ ok: false, code: -1, stderr: 'Unauthorized (control not granted)' }),
    { state: 'refused', words: 'Not allowed: the host has not granted control.', stdout: '', stderr: '' });
});

test('results of any form give bounded texts', () => {
  for (const value of HOSTILE) {
    for (const message of [{ ok: value }, { ok: false, code: value }, { ok: false, code: 127, stderr: value, stdout: value }]) {
      const { state, words, stdout, stderr } = outcome(message);
      assert.ok(['ok', 'failed', 'refused'].includes(state));
      assert.ok(words.length > 0 && words.length < 300 && stdout.length < 17000 && stderr.length < 17000, words);
    }
  }
  // Everything that a host reports of one output is kept.
  const longest = `${'\u{1F600}'.repeat(8192)}\n…(truncated)…`;
  assert.equal(outcome({ ok: true, code: 0, stdout: longest }).stdout, longest);
});

test('several commands run at once, and answers find theirs', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  const sent = [];
  const runs = new CommandRuns((message) => sent.push(message), () => {});
  const answer = (id, more = {}) => runs.receive({ type: 'command_result', id, title: id, ok: true, code: 0, stdout: '', stderr: '', ...more });
  assert.equal(runs.run(command('open-terminal')), true);
  assert.equal(runs.run(command('open-terminal')), false);
  assert.equal(runs.run(command('reveal-downloads')), true);
  assert.deepEqual(sent, [{ type: 'exec_command', id: 'open-terminal' }, { type: 'exec_command', id: 'reveal-downloads' }]);
  for (const id of ['dns-flush', 'x', undefined, null, {}]) answer(id);
  assert.deepEqual(runs.runs.map(({ state }) => state), ['running', 'running']);
  answer('open-terminal', { stdout: 'opened' });
  assert.deepEqual(runs.runs.map(({ state, stdout }) => [state, stdout]), [['running', ''], ['ok', 'opened']]);
  answer('open-terminal', { stdout: 'again' });
  assert.equal(runs.last('open-terminal').stdout, 'opened');
});

test('a command without an answer, with a late one, and of a lost connection', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  let open = true;
  const runs = new CommandRuns(() => open, () => {});
  const states = () => runs.runs.map(({ state }) => state);
  runs.run(command('dns-flush'));
  t.mock.timers.tick(29999);
  assert.deepEqual(states(), ['running']);
  t.mock.timers.tick(1);
  assert.deepEqual(states(), ['silent']);
  // Another one is possible; answers come in the order of the requests.
  runs.run(command('dns-flush'));
  runs.receive({ type: 'command_result', id: 'dns-flush', ok: true, code: 0 });
  assert.deepEqual(states(), ['running', 'ok']);
  runs.lose();
  assert.deepEqual(states(), ['lost', 'ok']);
  runs.receive({ type: 'command_result', id: 'dns-flush', ok: true, code: 0 });
  assert.deepEqual(states(), ['lost', 'ok']);
  open = false;
  assert.equal(runs.run(command('dns-flush')), false);
  assert.equal(runs.runs.length, 2);
});

test('keeps the latest fifty runs', () => {
  const runs = new CommandRuns(() => true, () => {});
  runs.run(command('dns-flush'));
  for (let i = 0; i < 60; ++i) {
    runs.run(command('open-terminal'));
    runs.receive({ type: 'command_result', id: 'open-terminal', ok: true, code: 0 });
  }
  assert.equal(runs.runs.length, 50);
  assert.equal(runs.last('dns-flush').state, 'running');
  runs.lose();
});
