// What the clipboard panel says. Pure.

export const OFFLINE = 'Not connected. It works again when the host is there.';
export const BROKEN_OFF = 'The host did not send all of its text. Get it again.';
export const NO_ANSWER = 'The host did not answer. Try again.';

// By the outcome of HostClipboard.set().
export const OUTCOMES = {
  set: 'It is on the host’s clipboard now.',
  'too-large': 'The text is too long: at most 10 MiB can be sent. Send it as a file instead.',
  replaced: 'Not sent: a text that was pasted on the picture took its place.',
  silent: 'The host did not confirm that it has the text. Try again.',
  closed: 'Not sent: there is no connection to the host. Try again when it is back.',
};

// "1 byte", "12 bytes", "3.4 kB", "2.0 MB"; anything else than a number, as a hostile host may send, is 0.
export function countText(bytes) {
  const count = Number.isFinite(bytes) && bytes > 0 ? bytes : 0;
  if (count < 1000) return `${count} ${count === 1 ? 'byte' : 'bytes'}`;
  return count < 999_950 ? `${(count / 1000).toFixed(1)} kB` : `${(count / 1e6).toFixed(1)} MB`;
}

export function tooLargeText({ length, limit }) {
  return `The host’s text is too long: ${countText(length)}, at most ${countText(limit)} can be sent. Save it there as a file.`;
}
