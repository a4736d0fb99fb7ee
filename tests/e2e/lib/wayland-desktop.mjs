// A Wayland desktop without a screen, whose user answers as a test says, and windows on it.
import { rm } from 'node:fs/promises';
import { join } from 'node:path';
import { Child, run } from './child.mjs';
import { build, root } from './paths.mjs';
import { until } from './wait.mjs';

/// A program that obeys lines on its standard input and writes a JSON object per line.
class Obedient extends Child {
  constructor(command, args, options) {
    super(command, args, { ...options, input: 'pipe' });
    // What is left to be said when it has ended is lost.
    this.process.stdin.on('error', () => {});
  }

  /// The objects that it wrote from line `after` on and that have `key`.
  said(key, after = 0) {
    return this.lines.slice(after).filter(({ from }) => from === 'out').map(({ text }) => JSON.parse(text))
      .filter((each) => key in each).map((each) => each[key]);
  }

  /// Waits for the first `key` from line `after` on for which `holds` is true.
  async says(key, { after = 0, holds = () => true, deadline } = {}) {
    const found = await until(() => {
      const fit = this.said(key, after).filter(holds);
      if (fit.length === 0 && this.exit) throw new Error(`${this.name} ended: ${this.text().slice(-20).join('\n')}`);
      return fit.length > 0 && { value: fit[0] };
    }, { deadline, every: 5, what: `"${key}" of ${this.name}` }).catch((error) => {
      throw new Error(`${error.message}\nIts lines:\n${this.text().slice(-20).join('\n')}`);
    });
    return found.value;
  }

  write(line) {
    this.process.stdin.write(`${line}\n`);
  }
}

export class WaylandDesktop {
  /// `monitors`: their sizes, from left to right; `options`: more of tests/wayland/desktop.py.
  static async start({ monitors = ['1280x720'], options = [] } = {}) {
    const child = new Obedient(join(root, 'tests/wayland/desktop.py'), [...monitors.flatMap((size) => ['--monitor', size]), ...options]);
    await child.says('ready');
    return new WaylandDesktop(child, monitors);
  }

  constructor(child, monitors) {
    this.child = child;
    const { env, pids, milliseconds } = JSON.parse(child.text('out').find((line) => line.includes('"ready"')));
    this.env = env;
    this.pids = pids;
    this.milliseconds = milliseconds;
    [this.width, this.height] = monitors[0].split('x').map(Number);
    this.windows = [];
    this.asking = Promise.resolve();
  }

  /// Carries out a command of tests/wayland/desktop.py and resolves to its answer.
  tell(command) {
    const answer = this.asking.then(async () => {
      const after = this.child.lines.length;
      this.child.write(command);
      const reply = await until(() => this.child.lines.slice(after).find(({ from, text }) => from === 'out' && /^\{"(answer|error)":/.test(text)),
        { every: 5, what: `an answer to "${command}"` });
      const { error, answer } = JSON.parse(reply.text);
      if (error) throw new Error(`"${command}": ${error}`);
      return answer;
    });
    this.asking = answer.catch(() => {});
    return answer;
  }

  /// Waits until the user has been asked `count` times since the start.
  asked(count) {
    return until(async () => (await this.tell('questions')).asked >= count, { what: `question ${count}` });
  }

  /// Starts a part of the desktop again that was killed.
  async restart(part) {
    const { pid, env } = await this.tell(`start ${part}`);
    this.pids[part] = pid;
    this.env = { ...this.env, ...env };
  }

  run(command, args) {
    return run(command, args, { env: { ...process.env, ...this.env } });
  }

  start(command, args, options = {}) {
    return new Child(command, args, { ...options, env: { ...options.env, ...this.env } });
  }

  /// A window that covers a monitor, of one colour.
  async canvas(monitor = 0, colour = '#000000') {
    const canvas = new Canvas(join(build, 'tests/wayland_canvas'), [`fullscreen ${monitor}`], { env: this.env });
    this.windows.push(canvas);
    await canvas.says('ready');
    await canvas.paint(colour);
    return canvas;
  }

  /// Fills the first monitor with one colour ("#rrggbb").
  async paint(colour) {
    this.painted ??= await this.canvas();
    await this.painted.paint(colour);
  }

  /// Starts a terminal that runs a shell command, and waits until its window has the keyboard.
  async terminal(command) {
    const child = this.start('foot', ['--config=/dev/null', 'sh', '-c', command], { env: { WAYLAND_DEBUG: '1' } });
    this.windows.push(child);
    await child.line(/wl_keyboard@\d+\.enter\(/);
    return child;
  }

  async end() {
    for (const window of this.windows) await window.end('SIGKILL');
    this.child.process.stdin.end();
    const patience = setTimeout(() => this.child.signal('SIGKILL'), 15000);
    await this.child.done;
    clearTimeout(patience);
    await rm(this.env.XDG_RUNTIME_DIR, { recursive: true, force: true, maxRetries: 5 });
  }
}

/// The window of tests/wayland/canvas, which says what it receives.
class Canvas extends Obedient {
  /// Carries out a command and waits for what `key` says of it.
  async tell(command, key) {
    const after = this.lines.length;
    this.write(command);
    return this.says(key, { after });
  }

  /// Fills an area, or everything, with a colour ("#rrggbb").
  paint(colour, area) {
    return this.tell(area ? `paint ${colour.slice(1)} ${area.join(' ')}` : `clear ${colour.slice(1)}`, 'painted');
  }

  /// Where the pointer is, in layout units of the window; undefined before it came.
  pointer() {
    const places = this.text('out').map((line) => JSON.parse(line)).filter((each) => each.motion ?? each.enter);
    return places.at(-1)?.motion ?? places.at(-1)?.enter;
  }
}
