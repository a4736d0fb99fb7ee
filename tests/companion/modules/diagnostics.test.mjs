// What the panel of diagnostics makes of a host's report, without a page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { changesSince, findings, verdict } from '../../../companion/viewer/tools/diagnostics/findings.js';
import { sections } from '../../../companion/viewer/tools/diagnostics/sections.js';
import { ageText, fileName, reportJson, reportText } from '../../../companion/viewer/tools/diagnostics/text.js';
import { healthy } from './healthy-report.mjs';
import { HOSTILE } from '../page/hostile.mjs';

const at = Date.parse('2026-11-22T18:00:00');

// The severities of what is found when some sections of a healthy machine have other values, by id.
function found(changes) {
  const report = healthy();
  for (const [section, values] of Object.entries(changes)) report[section] = { ...report[section], ...values };
  return Object.fromEntries(findings(report, at).findings.map(({ id, severity }) => [id, severity]));
}

const text = (changes) => {
  const report = healthy();
  for (const [section, values] of Object.entries(changes)) report[section] = { ...report[section], ...values };
  return findings(report, at)
    .findings.map((each) => `${each.text} ${each.advice}`.trim())
    .join('\n');
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
  for (const report of [
    {},
    {
      network: {},
      ping: {},
      crashes: {},
      storage: {},
      battery: {},
      processes: {},
      updates: {},
      security: {},
      thermal: {},
    },
  ]) {
    const { findings: list, checked, unknown } = findings(report, at);
    assert.deepEqual(list, []);
    assert.deepEqual(checked, []);
    assert.equal(unknown.length, 15);
    assert.equal(verdict({ findings: list, checked, unknown }), 'The report says nothing that can be checked.');
  }
});

// [section, its values, the finding]; without a finding all is well, or not known.
const CASES = [
  ['storage', { freePct: 100 }],
  ['storage', { freePct: 10.01 }],
  ['storage', { freePct: 10 }, 'disk warning'],
  ['storage', { freePct: 5.01 }, 'disk warning'],
  ['storage', { freePct: 5 }, 'disk bad'],
  ['storage', { freePct: 0 }, 'disk bad'],
  ['storage', { freePct: undefined, totalKB: 1000, availKB: 101 }],
  ['storage', { freePct: undefined, totalKB: 1000, availKB: 100 }, 'disk warning'],
  ['storage', { freePct: undefined, totalKB: 1000, availKB: 50 }, 'disk bad'],
  ['storage', { freePct: undefined, totalKB: 0, availKB: 0 }],
  ['storage', { freePct: undefined, totalKB: 10, availKB: 11 }],
  ['storage', { smartStatus: 'Failing' }, 'drive bad'],
  ['storage', { smartStatus: 'Not Supported' }],
  ['battery', { healthPct: 80 }],
  ['battery', { healthPct: 79 }, 'battery warning'],
  ['battery', { healthPct: 50 }, 'battery warning'],
  ['battery', { healthPct: 49 }, 'battery bad'],
  ['battery', { healthPct: 0 }, 'battery bad'],
  ['thermal', { batteryC: 44.9 }],
  ['thermal', { batteryC: 45 }, 'battery-heat warning'],
  ['thermal', { batteryC: 60 }, 'battery-heat bad'],
  ['thermal', { batteryC: 1e9 }],
  ['thermal', { state: 'fair' }, 'temperature warning'],
  ['thermal', { state: 'serious' }, 'temperature bad'],
  ['thermal', { state: 'critical' }, 'temperature bad'],
  ['thermal', { state: 'unknown' }],
  ['thermal', { state: 'toString' }],
  ['security', { firewall: 'Off' }, 'firewall warning'],
  ['security', { firewall: 'maybe' }],
  ['security', { gatekeeper: false }, 'packages warning'],
  ['security', { sip: false }, 'protection note'],
  ['crashes', { kernelPanics: 1 }, 'panics bad'],
  ['crashes', { kernelPanics: 20 }, 'panics bad'],
  ['network', { rssi: -70 }],
  ['network', { rssi: -71 }, 'wireless warning'],
  ['network', { rssi: 5 }],
  ['network', { vpn: ['Work'] }, 'vpn note'],
  ['network', { proxy: { enabled: true, summary: 'HTTPProxy : a:1' } }, 'proxy note'],
  ['network', { proxy: { enabled: 'yes' } }],
  ['processes', { topMem: [{ name: 'a', memPct: 49.9 }] }],
  ['processes', { topMem: [{ name: 'a', memPct: 50 }] }, 'memory warning'],
  ['processes', { topCPU: [{ name: 'a', cpuPct: 79.9 }] }],
  ['processes', { topCPU: [{ name: 'a', cpuPct: 80 }] }, 'processor note'],
  ['ping', { internet_ms: 249 }],
  ['ping', { internet_ms: 250 }, 'internet-slow warning'],
  ['ping', { gateway_ms: 99 }],
  ['ping', { gateway_ms: 100 }, 'gateway-slow warning'],
];
test('judges each value at its limits', () => {
  for (const [section, values, expected] of CASES) {
    const all = Object.entries(found({ [section]: values })).map((each) => each.join(' '));
    assert.deepEqual(all, expected ? [expected] : [], JSON.stringify(values));
  }
});

test('says what fills a disk', () => {
  assert.equal(
    text({ storage: { freePct: 4.2, availKB: 21 * 1024 * 1024, snapshots: 2 } }),
    'The disk is 95 % full: 21.0 GB of 500.0 GB are free. Delete or move what is not needed. Of this user: caches 1.5 GB. ' +
      '2 snapshots may hold deleted files.',
  );
});

test('security updates count more than others', () => {
  const plain = 'nano/stable 7.2-2 amd64 [upgradable from: 7.2-1]';
  const urgent = 'openssl/stable-security 3.0.15-1 amd64 [upgradable from: 3.0.14-1]';
  assert.equal(
    text({ updates: { available: [plain] } }),
    '1 update waits to be installed. Install them when the host can be spared.',
  );
  assert.deepEqual(found({ updates: { available: [plain] } }), { updates: 'warning' });
  assert.deepEqual(found({ updates: { available: [plain, urgent] } }), { updates: 'bad' });
  assert.match(
    text({ updates: { available: [plain, urgent] } }),
    /^2 updates wait to be installed, 1 of them for security\./,
  );
  // The name of the package itself says nothing.
  assert.deepEqual(found({ updates: { available: ['libsecurity-java/stable 1 all [upgradable from: 0]'] } }), {
    updates: 'warning',
  });
  assert.deepEqual(found({ updates: { available: ['openssl.x86_64 3.0-1 rhel-9-security'] } }), { updates: 'bad' });
  assert.match(text({ updates: { available: Array(200).fill(plain) } }), /^120 or more updates wait/);
});

test('tells crashes that repeat and old ones from the latest', () => {
  const crash = (name, time) => ({ name, time, file: `/usr/bin/${name}` });
  assert.deepEqual(found({ crashes: { recent: [crash('gimp', '2026-11-20T10:00:00')] } }), { crashes: 'warning' });
  assert.deepEqual(found({ crashes: { recent: [crash('gimp', '2026-09-01T10:00:00')] } }), { crashes: 'note' });
  assert.deepEqual(found({ crashes: { recent: [crash('gimp', 'never')] } }), { crashes: 'warning' });
  assert.deepEqual(found({ crashes: { repeat: [{ name: 'gimp', count: 2 }] } }), {});
  assert.equal(
    text({
      crashes: {
        repeat: [
          { name: 'gimp', count: 3 },
          { name: 'vlc', count: 7 },
        ],
      },
    }),
    '2 programs keep crashing: gimp (3 times), vlc (7 times). Update or reinstall what crashes.',
  );
  assert.equal(
    text({ crashes: { recent: [crash('gimp', '2026-11-20T10:00:00')] } }),
    'The last program that crashed was gimp, at 2026-11-20 10:00.',
  );
});

test('tells a silent internet from blocked pings and from a login page', () => {
  const silent = { internet_ok: false, internet_ms: undefined };
  assert.deepEqual(found({ ping: silent }), {});
  assert.deepEqual(found({ ping: silent, network: { portal: { status: 'unknown' } } }), { internet: 'bad' });
  assert.deepEqual(found({ ping: silent, network: { portal: undefined } }), { internet: 'bad' });
  assert.deepEqual(found({ network: { portal: { status: 'captive' } } }), { internet: 'bad' });
  assert.deepEqual(found({ network: { gateway: undefined }, ping: { ...silent, gateway_ok: undefined } }), {});
  assert.deepEqual(found({ network: { gateway: undefined, portal: {} }, ping: silent }), {
    internet: 'bad',
    gateway: 'warning',
  });
  assert.deepEqual(found({ ping: { gateway_ok: false, dns_ok: false } }), {
    'gateway-silent': 'note',
    'dns-silent': 'note',
  });
  assert.deepEqual(found({ ping: { ...silent, gateway_ok: false }, network: { portal: {} } }), {
    internet: 'bad',
    'gateway-silent': 'warning',
  });
});

test('puts the worst first', () => {
  assert.deepEqual(
    Object.values(
      found({
        security: { sip: false, firewall: 'Off' },
        storage: { smartStatus: 'Failing' },
        network: { vpn: ['x'] },
      }),
    ),
    ['bad', 'warning', 'note', 'note'],
  );
  assert.equal(verdict(findings({ security: { firewall: 'Off', sip: false } }, at)), '1 thing needs attention.');
});

test('compares with the report before', () => {
  const before = findings(
    {
      ...healthy(),
      storage: { freePct: 8 },
      updates: { available: ['a/stable-security 1'] },
      network: { ip: 'x', gateway: 'x', vpn: ['Work'] },
      thermal: { state: 'fair' },
    },
    at,
  );
  const now = findings(
    {
      ...healthy(),
      storage: { freePct: 3 },
      updates: { available: ['a/stable 1'] },
      network: { gateway: 'x', proxy: { enabled: true } },
      thermal: {},
    },
    at,
  );
  const { added, gone } = changesSince(before, now);
  assert.deepEqual([...added], ['disk', 'proxy']);
  // Its temperature is not known, which is no improvement.
  assert.deepEqual(
    gone.map(({ id }) => id),
    ['vpn'],
  );
});

test('survives any value in any place', () => {
  const check = (report) => {
    const { findings: list } = findings(report, at);
    for (const each of list) assert.ok(each.text.length < 3000 && !/[\p{Cc}\u202e]/u.test(each.text), each.id);
    const all = sections(report);
    assert.equal(all.length, 9);
    for (const { rows, tables } of all) {
      for (const cell of [...rows.flat(), ...tables.flatMap((table) => table.rows.flat())]) {
        assert.ok(
          cell === null || (typeof cell === 'string' && !/[\p{Cc}\u202e]|undefined|NaN|\[object/u.test(cell)),
          JSON.stringify(cell)?.slice(0, 80),
        );
      }
      for (const table of tables) assert.ok(table.rows.length <= 120);
    }
    assert.ok(reportText({ report, at, host: '', room: 'r' }).length < 300000);
  };
  for (const value of HOSTILE) {
    check(value);
    for (const section of Object.keys(healthy())) {
      check({ ...healthy(), [section]: value });
      for (const key of Object.keys(healthy()[section]))
        check({ ...healthy(), [section]: { ...healthy()[section], [key]: value } });
    }
  }
  check(JSON.parse('{"__proto__": {"storage": {"freePct": 1}}, "constructor": 1}'));
  assert.deepEqual(findings(JSON.parse('{"__proto__": {"storage": {"freePct": 1}}}'), at).findings, []);
});

test('says what is not known', () => {
  for (const { title, rows, tables } of sections({})) {
    for (const [label, value] of rows)
      assert.ok(value === null || /not known/.test(value), `${title} ${label}: ${value}`);
    for (const cell of tables.flatMap((table) => table.rows.map(([, answer]) => answer))) assert.equal(cell, null);
  }
  const lines = reportText({ report: {}, at, host: 'Desk', room: 'r' });
  assert.match(lines, /^Diagnostics of Desk, /);
  assert.match(lines, /^Size: +not known$/m);
  assert.match(lines, /^Checked: nothing\.$/m);
});

test('shows a report as text', () => {
  const lines = reportText({
    report: { ...healthy(), updates: { available: ['nano/stable 7.2-2 amd64 [upgradable from: 7.2-1]'] } },
    at,
    host: 'Desk',
    room: 'desk-7',
  });
  for (const line of [
    /^1 thing needs attention\.$/m,
    /^- Warning: 1 update waits/m,
    /^Free: +300\.0 GB \(60\.0 %\)$/m,
    /^Signal: +-55 dBm, 3 of 4 bars$/m,
    /^Rate: +433\.3 Mbit\/s$/m,
    /^ {2}firefox +812 +1\.1 GB +14\.1 %$/m,
    /^ {2}Internet +yes +14\.2 ms$/m,
    /^Downloads of the user: +none, or not measured$/m,
    /nano\/stable 7\.2-2/,
  ]) {
    assert.match(lines, line);
  }
});

test('names the file after host and time', () => {
  const kept = { host: 'Jürgens "PC"/../x', room: 'desk-7', at, report: { a: 1 } };
  assert.equal(fileName(kept), 'diagnostics-Ju-rgens-PC-x-2026-11-22-1800.json');
  assert.equal(fileName({ ...kept, host: '' }), 'diagnostics-desk-7-2026-11-22-1800.json');
  assert.equal(fileName({ ...kept, host: '…' }), 'diagnostics-host-2026-11-22-1800.json');
  assert.deepEqual(JSON.parse(reportJson(kept)), {
    host: kept.host,
    room: 'desk-7',
    time: new Date(at).toISOString(),
    report: { a: 1 },
  });
});

test('says how old a report is', () => {
  assert.deepEqual([0, 59999, 60000, 125000, 3600000, 7300000].map(ageText), [
    'just now',
    'just now',
    '1 minute ago',
    '2 minutes ago',
    '1 hour ago',
    '2 hours ago',
  ]);
});
