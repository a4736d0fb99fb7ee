// What is looked at in a report to find what is wrong. A check: {name, look(report, at)}, which returns null when the
// report does not tell, else the findings, none when all is well.
// A finding: {id, severity ("bad", "warning", "note"), text, advice}.

import { finding } from './finding.js';
import { internet, network, wireless } from './network-checks.js';
import {
  crashesOf,
  diskOf,
  flagOf,
  integerOf,
  numberOf,
  processesOf,
  sectionOf,
  sizeText,
  textOf,
  timeText,
  updatesOf,
} from './values.js';

const DISK_WARNING_PCT = 90;
const DISK_BAD_PCT = 95;
const BATTERY_WORN_PCT = 80;
const BATTERY_BAD_PCT = 50;
const BATTERY_WARM_C = 45;
const BATTERY_HOT_C = 60;
const MEMORY_HOG_PCT = 50;
const CPU_HOG_PCT = 80;
const REPEATED_CRASHES = 3;
const CRASH_IS_OLD_MS = 30 * 24 * 3600 * 1000;
// The host lists and counts no more than these.
const MOST_UPDATES = 120;
const MOST_PANICS = 20;

function disk(report) {
  const { total, free, freePct } = diskOf(report);
  if (freePct === null) return null;
  const full = 100 - freePct;
  if (full < DISK_WARNING_PCT) return [];
  const left = free !== null && total !== null ? `: ${sizeText(free)} of ${sizeText(total)} are free` : '';
  return [
    finding(
      'disk',
      full >= DISK_BAD_PCT ? 'bad' : 'warning',
      `The disk is ${Math.floor(full)} % full${left}.`,
      roomOf(report),
    ),
  ];
}

function roomOf(report) {
  const storage = sectionOf(report, 'storage');
  const places = [
    ['caches', storage.cachesPretty],
    ['downloads', storage.downloadsPretty],
  ]
    .map(([name, value]) => [name, textOf(value)])
    .filter(([, value]) => value !== null && value !== '0 KB');
  const snapshots = integerOf(storage.snapshots, 1);
  return [
    'Delete or move what is not needed.',
    places.length > 0 ? `Of this user: ${places.map(([name, value]) => `${name} ${value}`).join(', ')}.` : '',
    snapshots !== null ? `${snapshots} snapshot${snapshots === 1 ? '' : 's'} may hold deleted files.` : '',
  ]
    .filter(Boolean)
    .join(' ');
}

function drive(report) {
  const status = textOf(sectionOf(report, 'storage').smartStatus);
  if (status === 'Failing')
    return [
      finding('drive', 'bad', 'The drive reports that it is failing.', 'Back up its data at once, then replace it.'),
    ];
  return status === 'Verified' ? [] : null;
}

function updates(report) {
  const all = updatesOf(report);
  if (all === null) return null;
  if (all.length === 0) return [];
  const count =
    all.length >= MOST_UPDATES
      ? `${MOST_UPDATES} or more updates wait`
      : plural(all.length, 'update waits', 'updates wait');
  const security = all.filter((update) => update.security).length;
  if (security === 0)
    return [finding('updates', 'warning', `${count} to be installed.`, 'Install them when the host can be spared.')];
  return [
    finding(
      'updates',
      'bad',
      `${count} to be installed, ${security} of them for security.`,
      'Install the security updates soon.',
    ),
  ];
}

function firewall(report) {
  const state = textOf(sectionOf(report, 'security').firewall);
  if (state === 'Off') {
    return [
      finding(
        'firewall',
        'warning',
        'No active firewall was found.',
        'Rules that only an administrator may read are not seen by the report.',
      ),
    ];
  }
  return state === 'On' ? [] : null;
}

function packages(report) {
  const signed = flagOf(sectionOf(report, 'security').gatekeeper);
  if (signed === null) return null;
  return signed
    ? []
    : [
        finding(
          'packages',
          'warning',
          'Programs are installed without a full check of their signatures.',
          'Look for package sources that are exempt from the check.',
        ),
      ];
}

function protection(report) {
  const on = flagOf(sectionOf(report, 'security').sip);
  if (on === null) return null;
  return on
    ? []
    : [
        finding(
          'protection',
          'note',
          'The system itself is not fully protected: Secure Boot, or SELinux or AppArmor, is off.',
        ),
      ];
}

function crashes(report, at) {
  const { recent, repeat } = crashesOf(report);
  if (recent === null && repeat === null) return null;
  const result = [];
  const often = (repeat ?? []).filter(({ count }) => count >= REPEATED_CRASHES);
  if (often.length > 0) {
    const names = often.map(({ name, count }) => `${name} (${count} times)`).join(', ');
    result.push(
      finding(
        'repeated-crashes',
        'warning',
        `${plural(often.length, 'program keeps', 'programs keep')} crashing: ${names}.`,
        'Update or reinstall what crashes.',
      ),
    );
  }
  const [newest] = recent ?? [];
  if (newest) {
    const age = at - Date.parse(newest.time ?? '');
    const time = newest.time === null ? '' : `, at ${timeText(newest.time)}`;
    result.push(
      finding(
        'crashes',
        age > CRASH_IS_OLD_MS ? 'note' : 'warning',
        `The last program that crashed was ${newest.name}${time}.`,
      ),
    );
  }
  return result;
}

function panics(report) {
  const count = crashesOf(report).panics;
  if (count === null) return null;
  if (count === 0) return [];
  const times = count >= MOST_PANICS ? `${MOST_PANICS} times or more` : count === 1 ? 'once' : `${count} times`;
  return [
    finding(
      'panics',
      'bad',
      `The system itself has crashed ${times}.`,
      'Suspect its memory, its drivers, and what was changed last.',
    ),
  ];
}

const THERMAL = {
  fair: ['warning', 'The host is warm: it has reached a limit at which it slows down.'],
  serious: ['bad', 'The host is hot.'],
  critical: ['bad', 'The host is so hot that it may switch itself off.'],
};

function temperature(report) {
  const state = textOf(sectionOf(report, 'thermal').state);
  if (state === 'nominal') return [];
  if (!Object.hasOwn(THERMAL, state)) return null;
  const [severity, text] = THERMAL[state];
  return [finding('temperature', severity, text, 'Check its fans and what keeps it busy.')];
}

function battery(report) {
  const health = numberOf(sectionOf(report, 'battery').healthPct, 0, 1000);
  const degrees = numberOf(sectionOf(report, 'thermal').batteryC, -60, 200);
  if (health === null && degrees === null) return null;
  const result = [];
  if (health !== null && health < BATTERY_WORN_PCT) {
    result.push(
      finding(
        'battery',
        health < BATTERY_BAD_PCT ? 'bad' : 'warning',
        `The battery holds only ${Math.round(health)} % of what it was made for.`,
        'Replace it if the host is used away from a socket.',
      ),
    );
  }
  if (degrees !== null && degrees >= BATTERY_WARM_C) {
    result.push(
      finding(
        'battery-heat',
        degrees >= BATTERY_HOT_C ? 'bad' : 'warning',
        `The battery is at ${degrees} °C.`,
        'Let it cool, and do not charge it meanwhile.',
      ),
    );
  }
  return result;
}

function memory(report) {
  const { byMemory } = processesOf(report);
  if (byMemory === null) return null;
  return byMemory
    .filter(({ share }) => share !== null && share >= MEMORY_HOG_PCT)
    .slice(0, 1)
    .map(({ name, share }) =>
      finding(
        'memory',
        'warning',
        `${name} holds ${Math.round(share)} % of the memory.`,
        'Restart it if the host is slow.',
      ),
    );
}

function processor(report) {
  const { byCpu } = processesOf(report);
  if (byCpu === null) return null;
  const busy = byCpu.filter(({ share }) => share !== null && share >= CPU_HOG_PCT);
  if (busy.length === 0) return [];
  const names = busy.map(({ name, share }) => `${name} (${Math.round(share)} %)`).join(', ');
  return [
    finding(
      'processor',
      'note',
      `Busy since ${busy.length === 1 ? 'its' : 'their'} start: ${names}. 100 % is one processor core.`,
    ),
  ];
}

export const CHECKS = [
  { name: 'disk space', look: disk },
  { name: 'health of the drive', look: drive },
  { name: 'internet', look: internet },
  { name: 'network', look: network },
  { name: 'wireless signal', look: wireless },
  { name: 'updates', look: updates },
  { name: 'firewall', look: firewall },
  { name: 'signatures of programs', look: packages },
  { name: 'protection of the system', look: protection },
  { name: 'crashes of programs', look: crashes },
  { name: 'crashes of the system', look: panics },
  { name: 'temperature', look: temperature },
  { name: 'battery', look: battery },
  { name: 'memory', look: memory },
  { name: 'processor', look: processor },
];

function plural(count, one, many) {
  return `${count} ${count === 1 ? one : many}`;
}
