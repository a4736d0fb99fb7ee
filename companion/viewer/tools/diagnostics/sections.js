// A report as sections of labelled values and tables. null is a value that the host does not know.

import {
  crashesOf,
  diskOf,
  flagOf,
  integerOf,
  listOf,
  numberOf,
  portalOf,
  processesOf,
  proxyText,
  sectionOf,
  sizeText,
  textOf,
  timeText,
  updatesOf,
} from './values.js';

const PORTAL = { open: 'none in the way', captive: 'a login page is in the way' };
const THERMAL = {
  nominal: 'normal',
  fair: 'warm, at a limit at which it slows down',
  serious: 'hot',
  critical: 'critical, it may switch itself off',
};
const DRIVE = { Verified: 'healthy', Failing: 'failing', 'Not Supported': 'the drive does not tell' };

const unit = (value, suffix, digits = 0) => (value === null ? null : `${Number(value.toFixed(digits))} ${suffix}`);
const word = (value, words) => (value !== null && Object.hasOwn(words, value) ? words[value] : null);
const yesNo = (value, yes, no) => (value === null ? null : value ? yes : no);

// [{title, rows: [[label, text or null]], tables: [{title?, head, rows: [[text or null]], narrow}]}]; `narrow`: the
// columns of short values at the right. Pure.
export function sections(report) {
  return [system, disk, network, reachability, updates, security, crashes, processes, battery].map((make) => ({
    rows: [],
    tables: [],
    ...make(report),
  }));
}

function system(report) {
  return {
    title: 'System',
    rows: [
      ['Operating system', textOf(sectionOf(report, 'updates').current)],
      ['Temperature', word(textOf(sectionOf(report, 'thermal').state), THERMAL)],
    ],
  };
}

function disk(report) {
  const storage = sectionOf(report, 'storage');
  const { total, used, free, freePct } = diskOf(report);
  const size = (kib) => (kib === null ? null : sizeText(kib));
  // The host reports a folder that could not be measured in time as empty.
  const folder = (value) => (textOf(value) === '0 KB' ? 'none, or not measured' : textOf(value));
  const index = textOf(storage.spotlightStatus);
  return {
    title: 'Disk',
    rows: [
      ['Size', size(total)],
      ['Used', size(used)],
      ['Free', free === null || freePct === null ? size(free) : `${sizeText(free)} (${freePct.toFixed(1)} %)`],
      ['Health of the drive', word(textOf(storage.smartStatus), DRIVE)],
      ['Snapshots', integerText(storage.snapshots)],
      ['Installed programs', folder(storage.appsPretty)],
      ['Caches of the user', folder(storage.cachesPretty)],
      ['Downloads of the user', folder(storage.downloadsPretty)],
      ['Backups of phones', folder(storage.iosBackupsPretty)],
      ['Index of files', index === 'Unknown' ? null : index],
    ],
  };
}

function network(report) {
  const section = sectionOf(report, 'network');
  const proxy = sectionOf(section, 'proxy');
  const vpn = listOf(section.vpn, textOf);
  const [ssid, dbm] = [textOf(section.ssid), numberOf(section.rssi, -200, 0)];
  const bars = integerOf(section.signalBars, 0, 4);
  const wireless =
    ssid === null && dbm === null
      ? [['Wireless', bars === 0 ? 'not in use, or not known' : null]]
      : [
          ['Wireless network', ssid],
          ['Signal', dbm === null ? null : `${dbm} dBm${bars === null ? '' : `, ${bars} of 4 bars`}`],
          ['Noise', unit(numberOf(section.noise, -200, 0), 'dBm')],
          ['Rate', rate(section.txRate)],
        ];
  return {
    title: 'Network',
    rows: [
      ['Address', textOf(section.ip)],
      ['Gateway', textOf(section.gateway)],
      ['Name server', textOf(section.dns)],
      ['Login page', word(portalOf(report), PORTAL)],
      ['Proxy', yesNo(flagOf(proxy.enabled), proxyText(proxy.summary) ?? 'set', 'none')],
      ['VPN', vpn === null ? null : vpn.join(', ') || 'none'],
      ...wireless,
    ],
  };
}

function rate(value) {
  const text = textOf(value);
  return text !== null && /^[\d.]+$/.test(text) ? `${text} Mbit/s` : text;
}

function reachability(report) {
  const ping = sectionOf(report, 'ping');
  const row = (label, key) => {
    const answers = flagOf(ping[`${key}_ok`]);
    return [label, yesNo(answers, 'yes', 'no'), answers === false ? '–' : unit(numberOf(ping[`${key}_ms`]), 'ms', 1)];
  };
  return {
    title: 'Reachability',
    tables: [
      {
        head: ['Target', 'Answers', 'Time'],
        rows: [row('Gateway', 'gateway'), row('Name server', 'dns'), row('Internet', 'internet')],
        narrow: [2],
      },
    ],
  };
}

function updates(report) {
  const all = updatesOf(report);
  if (all === null || all.length === 0)
    return { title: 'Updates', rows: [['Waiting', all === null ? null : 'none known']] };
  const [urgent, rest] = [all.filter(({ security }) => security), all.filter(({ security }) => !security)];
  return {
    title: 'Updates',
    rows: [['Waiting', `${all.length}${urgent.length > 0 ? `, ${urgent.length} of them for security` : ''}`]],
    tables: [
      {
        head: ['Update', 'For'],
        rows: [...urgent.map(({ text }) => [text, 'security']), ...rest.map(({ text }) => [text, ''])],
        narrow: [1],
      },
    ],
  };
}

function security(report) {
  const section = sectionOf(report, 'security');
  return {
    title: 'Security',
    rows: [
      ['Firewall', word(textOf(section.firewall), { On: 'on', Off: 'none found' })],
      ['Signatures of programs', yesNo(flagOf(section.gatekeeper), 'checked', 'not all checked')],
      ['Protection of the system', yesNo(flagOf(section.sip), 'on', 'not complete')],
    ],
  };
}

function crashes(report) {
  const { recent, repeat, panics } = crashesOf(report);
  return {
    title: 'Crashes',
    rows: [
      ['Of the system', panics === null ? null : panics === 0 ? 'none' : String(panics)],
      ...(recent === null || recent.length === 0 ? [['Of programs', recent === null ? null : 'none']] : []),
    ],
    tables: [
      {
        title: 'Latest',
        head: ['Program', 'Time of the host', 'Where'],
        rows: (recent ?? []).map(({ name, time, file }) => [name, timeText(time), file]),
        narrow: [],
      },
      {
        title: 'Most often',
        head: ['Program', 'Crashes'],
        rows: (repeat ?? []).map(({ name, count }) => [name, String(count)]),
        narrow: [1],
      },
    ].filter(({ rows }) => rows.length > 0),
  };
}

function processes(report) {
  const { byCpu, byMemory } = processesOf(report);
  const pid = (value) => (value === null ? null : String(value));
  const tables = [
    {
      title: 'Most processor time since their start',
      head: ['Program', 'PID', 'Processor'],
      rows: (byCpu ?? []).map((each) => [each.name, pid(each.pid), unit(each.share, '%', 1)]),
      narrow: [1, 2],
    },
    {
      title: 'Most memory',
      head: ['Program', 'PID', 'Size', 'Memory'],
      rows: (byMemory ?? []).map((each) => [
        each.name,
        pid(each.pid),
        each.kib === null ? null : sizeText(each.kib),
        unit(each.share, '%', 1),
      ]),
      narrow: [1, 2, 3],
    },
  ].filter(({ rows }) => rows.length > 0);
  return { title: 'Programs', rows: tables.length === 0 ? [['Running', null]] : [], tables };
}

function battery(report) {
  const section = sectionOf(report, 'battery');
  const degrees = numberOf(sectionOf(report, 'thermal').batteryC, -60, 200);
  const [health, cycles] = [numberOf(section.healthPct, 0, 1000), integerOf(section.cycleCount)];
  if (degrees === null && health === null && cycles === null)
    return { title: 'Battery', rows: [['Battery', 'none, or not known']] };
  return {
    title: 'Battery',
    rows: [
      ['Holds', health === null ? null : `${Math.round(health)} % of what it was made for`],
      ['Charge cycles', cycles === null ? null : String(cycles)],
      ['Temperature', unit(degrees, '°C', 1)],
    ],
  };
}

function integerText(value) {
  const number = integerOf(value);
  return number === null ? null : String(number);
}
