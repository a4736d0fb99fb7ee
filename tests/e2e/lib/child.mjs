// Child processes whose output is kept as lines and which never outlive their test.
import { execFile, spawn } from 'node:child_process';
import { promisify } from 'node:util';
import { until } from './wait.mjs';

const exec = promisify(execFile);

/// Runs a command to its end; resolves to its standard output, rejects on a non-zero status or after a minute.
export async function run(command, args = [], options = {}) {
  const { stdout } = await exec(command, args, { timeout: 60000, maxBuffer: 64 << 20, ...options });
  return stdout;
}

/// One started process. `lines` holds what it wrote, one entry a line: {from: 'out'|'err', text, at}.
export class Child {
  constructor(command, args, { env = {}, clearEnv = false, input = 'ignore', stdio = [], cwd, group = false } = {}) {
    this.name = command.split('/').pop();
    this.lines = [];
    this.exit = null;
    this.process = spawn(command, args, {
      env: { ...(clearEnv ? {} : process.env), ...env },
      stdio: [input, 'pipe', 'pipe', ...stdio],
      cwd,
      detached: group,
    });
    this.pid = this.process.pid;
    this.#collect('out', this.process.stdout);
    this.#collect('err', this.process.stderr);
    this.done = new Promise((resolve) => {
      this.process.once('error', (error) => resolve((this.exit = { code: null, signal: null, error })));
      this.process.once('close', (code, signal) => resolve((this.exit = { code, signal })));
    });
  }

  #collect(from, stream) {
    let rest = '';
    stream.setEncoding('utf8');
    stream.on('data', (text) => {
      const pieces = (rest + text).split('\n');
      rest = pieces.pop();
      for (const piece of pieces) this.lines.push({ from, text: piece, at: performance.now() });
    });
    stream.on('end', () => {
      if (rest) this.lines.push({ from, text: rest, at: performance.now() });
    });
  }

  /// The text of every line so far, of one stream or of both.
  text(from) {
    return this.lines.filter((line) => !from || line.from === from).map((line) => line.text);
  }

  /// Waits for a line that matches, among those from index `after` on; resolves to the match.
  async line(pattern, { deadline, after = 0 } = {}) {
    const find = () => {
      for (const { text } of this.lines.slice(after)) {
        const match = typeof pattern === 'string' ? (text === pattern ? [text] : null) : text.match(pattern);
        if (match) return match;
      }
      if (this.exit) throw new Error(`${this.name} ended (${JSON.stringify(this.exit)})`);
      return null;
    };
    try {
      return await until(find, { deadline, what: `the line ${pattern} of ${this.name}` });
    } catch (error) {
      throw new Error(`${error.message}\nIts lines:\n${this.text().slice(-40).join('\n')}`);
    }
  }

  signal(name) {
    if (!this.exit) process.kill(this.pid, name);
  }

  /// Asks it to end and resolves to {code, signal}; kills it when it does not within `deadline` ms.
  async end(signal = 'SIGTERM', deadline = 20000) {
    if (this.exit) return this.exit;
    this.signal(signal);
    const timer = setTimeout(() => this.signal('SIGKILL'), deadline);
    await this.done;
    clearTimeout(timer);
    return this.exit;
  }

  /// CPU seconds used so far (user and system) by the process, without its children.
  async cpuSeconds() {
    return cpuSecondsOf(this.pid);
  }
}

/// The same of any process.
export async function cpuSecondsOf(pid) {
  const { readFile } = await import('node:fs/promises');
  const stat = await readFile(`/proc/${pid}/stat`, 'utf8');
  const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
  return (Number(fields[11]) + Number(fields[12])) / 100;
}
