// What the files panel says. Pure.

const UNITS = ['bytes', 'kB', 'MB', 'GB', 'TB'];

// "0 bytes", "1 byte", "12 kB", "3.4 MB"; decimal, as the file managers of most desktops count.
export function sizeText(bytes) {
  if (bytes === 1) return '1 byte';
  let unit = 0;
  let value = bytes;
  while (value >= 999.5 && unit < UNITS.length - 1) {
    value /= 1000;
    unit += 1;
  }
  return `${unit > 1 && value < 99.95 ? value.toFixed(1) : Math.round(value)} ${UNITS[unit]}`;
}

// "5 s", "2 min 5 s", "1 h 3 min"
export function durationText(seconds) {
  const whole = Math.max(1, Math.ceil(seconds));
  if (whole < 60) return `${whole} s`;
  if (whole < 3600) return `${Math.floor(whole / 60)} min ${whole % 60} s`;
  return `${Math.floor(whole / 3600)} h ${Math.floor((whole % 3600) / 60)} min`;
}

const FAILURES = {
  disabled: 'The person at the host does not accept files. They can allow it in the menu of the host: “Allow Incoming Files”.',
  'too many': 'The host has too many unfinished files. Send it again.',
  overloaded: 'The disk of the host is too slow for this file, also at a lower rate.',
  'no reply': 'The host did not answer. Its download folder may not be writable, or its disk is full.',
  unconfirmed: 'All was sent, but the host has not confirmed that it stored the file. Check it on the host.',
  unreadable: 'This file cannot be read any more: it was changed, moved or removed on this computer. Choose it again.',
  error: 'This page made a mistake while it sent the file. Send it again.',
  lost: 'The connection was lost several times while this file was sent.',
};

export function failureText(reason) {
  return Object.hasOwn(FAILURES, reason) ? FAILURES[reason] : `The host refused the file: ${reason.slice(0, 100)}`;
}

// What the line below a file says; `entry` as in FileQueue.
export function entryText(entry) {
  const { size, left, rate } = entry;
  switch (entry.state) {
    case 'waiting':
      return `${sizeText(size)} · ${entry.note || 'waiting'}`;
    case 'starting':
      return `${sizeText(size)} · starting`;
    case 'sending': {
      const parts = [`${sizeText(left)} of ${sizeText(size)}`];
      if (rate > 0) parts.push(`${sizeText(rate)}/s`, `${durationText((size - left) / rate)} left`);
      if (rate === 0) parts.push('waiting for the connection');
      return parts.join(' · ');
    }
    case 'finishing':
      return `${sizeText(size)} · sent, the host is storing it`;
    case 'saved':
      return `${sizeText(size)} · in Downloads on the host${entry.savedAs ? ` as “${entry.savedAs}”` : ''}`;
    case 'short':
      return `Only ${sizeText(entry.stored)} of ${sizeText(size)} were stored: the disk of the host is full, or failed. What is there cannot be opened.`;
    case 'cancelled':
      if (entry.whole) return 'Cancelled when all of it was sent: the host may have stored it.';
      return entry.begun ? 'Cancelled. What was sent of it stays on the host and cannot be opened there.' : 'Cancelled before it was sent.';
    default:
      return failureText(entry.reason);
  }
}

// What is said about a choice of files that was not taken as it is; empty when all of it was.
export function refusalText({ folders = 0, refused = 0 }, maximum) {
  const parts = [];
  if (folders > 0) parts.push('Folders cannot be sent. Pack them into an archive, such as a zip file, and send that.');
  if (refused > 0) {
    parts.push(`${refused} ${refused === 1 ? 'file was' : 'files were'} left out: at most ${maximum} can wait at a time.`);
  }
  return parts.join(' ');
}
