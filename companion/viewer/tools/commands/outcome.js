// What a "command_result" means, in words. Its texts were written by the host: bounded, and never markup.

// The host cuts an output at 8192 characters, which may take two units each.
const MAX_OUTPUT = 16500;
const MAX_REASON = 200;

const REFUSED = 'Unauthorized (control not granted)';
const UNKNOWN_COMMAND = 'Command not allowed';

const NOT_POSSIBLE = 127;
const NOT_CONFIRMED = 126;
const FIRST_SIGNAL = 129;
const LAST_SIGNAL = 159;
const TERMINATED = 143;
const KILLED = 137;
// The host ends a command after 20 seconds.
const HOST_LIMIT_SECONDS = 19;

// {state ("ok", "failed", "refused"), words, stdout, stderr}. `seconds`: how long the answer took. Pure.
export function outcomeOf(message, command, seconds) {
  const stdout = output(message.stdout);
  const stderr = output(message.stderr);
  if (message.ok === true) return { state: 'ok', words: 'Done.', stdout, stderr };
  const code = Number.isInteger(message.code) ? message.code : null;
  if (stderr === REFUSED)
    return { state: 'refused', words: 'Not allowed: the host has not granted control.', stdout, stderr: '' };
  return { state: 'failed', words: failure(code, stderr, command, seconds), stdout, stderr };
}

function failure(code, stderr, command, seconds) {
  if (stderr === UNKNOWN_COMMAND) return 'This host does not know the command.';
  if (stderr.startsWith('Failed to start: ')) return `Not started: ${firstLine(stderr.slice(17))}`;
  if (code === NOT_CONFIRMED && command.asksThere) return 'Not confirmed: the dialog on the host was dismissed.';
  if (code === NOT_POSSIBLE) return `Not possible on this host${stderr ? `: ${firstLine(stderr)}` : '.'}`;
  if (code === -1) return 'The host could not end the command. It may still be running.';
  if ((code === TERMINATED || code === KILLED) && seconds >= HOST_LIMIT_SECONDS) {
    return command.asksThere
      ? 'Stopped after 20 seconds. Perhaps nobody answered the dialog on the host.'
      : 'Stopped by the host after 20 seconds.';
  }
  if (code >= FIRST_SIGNAL && code <= LAST_SIGNAL) return `Ended on the host by signal ${code - FIRST_SIGNAL + 1}.`;
  return code === null ? 'Failed.' : `Failed with status ${code}.`;
}

function output(value) {
  if (typeof value !== 'string') return '';
  return (value.length > MAX_OUTPUT ? `${value.slice(0, MAX_OUTPUT)}…` : value).trimEnd();
}

function firstLine(text) {
  const line = text.trim().split('\n', 1)[0];
  return line.length > MAX_REASON ? `${line.slice(0, MAX_REASON)}…` : line;
}
