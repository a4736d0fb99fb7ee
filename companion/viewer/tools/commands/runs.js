// The commands that were run in this session, and the answers to them.

import { outcomeOf } from './outcome.js';

const MAX_RUNS = 50;
// The host ends a command after 20 seconds; a dialog there and a slow line take their time as well.
const ANSWER_TIMEOUT_MS = 30000;

const SILENT = 'No answer came within 30 seconds. Look at the host’s screen before running it again.';
const LOST = 'The connection ended before the answer. It is not known whether the command ran.';

// A run: {number, command, at (ms), state, words, stdout, stderr}. Its state is "running", "ok", "failed", "refused",
// "silent" (no answer yet, after the timeout) or "lost".
export class CommandRuns {
  #send;
  #onChange;
  #runs = [];
  #timers = new Map();
  #count = 0;

  // send(message): whether it went out. onChange(run): it is new or has another state.
  constructor(send, onChange) {
    this.#send = send;
    this.#onChange = onChange;
  }

  // Newest first.
  get runs() {
    return this.#runs;
  }

  // The newest run of a command, or null.
  last(id) {
    return this.#runs.find((run) => run.command.id === id) ?? null;
  }

  isRunning(id) {
    return this.#runs.some((run) => run.command.id === id && run.state === 'running');
  }

  // Returns whether it was sent. The answer names only the command, so a command runs once at a time.
  run(command) {
    if (this.isRunning(command.id) || !this.#send({ type: 'exec_command', id: command.id })) return false;
    const run = {
      number: ++this.#count,
      command,
      at: Date.now(),
      state: 'running',
      words: 'Running…',
      stdout: '',
      stderr: '',
    };
    this.#runs.unshift(run);
    if (this.#runs.length > MAX_RUNS) this.#forgetOldest();
    this.#timers.set(
      run,
      setTimeout(() => this.#end(run, { state: 'silent', words: SILENT }), ANSWER_TIMEOUT_MS),
    );
    this.#onChange(run);
    return true;
  }

  // "command_result". A host answers in the order of the requests; an answer after the timeout still counts, and one
  // to something that was not asked does not.
  receive(message) {
    const run = this.#runs.findLast(
      ({ command, state }) => command.id === message.id && (state === 'running' || state === 'silent'),
    );
    if (run) this.#end(run, outcomeOf(message, run.command, (Date.now() - run.at) / 1000));
  }

  // The channel has closed; the host does not send the answers on another one.
  lose() {
    for (const run of this.#runs) {
      if (run.state === 'running') this.#end(run, { state: 'lost', words: LOST });
      else if (run.state === 'silent') run.state = 'lost';
    }
  }

  #forgetOldest() {
    const at = this.#runs.findLastIndex(({ state }) => state !== 'running');
    if (at > 0) this.#runs.splice(at, 1);
  }

  #end(run, outcome) {
    clearTimeout(this.#timers.get(run));
    this.#timers.delete(run);
    Object.assign(run, outcome);
    this.#onChange(run);
  }
}
