// A real X server without a screen, and helpers for tests on it.
import { randomInt } from 'node:crypto';
import { Child, run } from './child.mjs';
import { until } from './wait.mjs';

export class Xvfb {
  /// Starts a server as `display` (":7") or on a free number, which is not one of the lowest: another program would get
  /// the number of a server that is being restarted. `size` is "WIDTHxHEIGHT".
  static async start({ size = '1280x720', display = null } = {}) {
    for (let tries = 0; !display && tries < 4; ++tries) {
      const server = await Xvfb.start({ size, display: `:${100 + randomInt(50000)}` }).catch(() => null);
      if (server) return server;
    }
    const child = new Child('Xvfb', [...(display ? [display] : []), '-displayfd', '3', '-screen', '0', `${size}x24`, '-noreset', '-nolisten', 'tcp'], {
      stdio: ['pipe'],
    });
    let digits = '';
    child.process.stdio[3].setEncoding('utf8').on('data', (text) => (digits += text));
    await until(
      () => {
        if (child.exit) throw new Error(`Xvfb ended: ${child.text().join('\n')}`);
        return digits.endsWith('\n');
      },
      { what: 'the display number of Xvfb' },
    );
    return new Xvfb(child, `:${digits.trim()}`, size);
  }

  constructor(child, display, size) {
    this.child = child;
    this.display = display;
    [this.width, this.height] = size.split('x').map(Number);
    this.env = { DISPLAY: display };
  }

  run(command, args) {
    return run(command, args, { env: { ...process.env, ...this.env } });
  }

  start(command, args, options = {}) {
    return new Child(command, args, { ...options, env: { ...options.env, ...this.env } });
  }

  /// Fills the root window with one colour ("#rrggbb").
  paint(colour) {
    return this.run('xsetroot', ['-solid', colour]);
  }

  /// Gives the only monitor another size, as a person would in the display settings; at most the size at the start.
  async resize(width, height) {
    const mode = `${width}x${height}`;
    const modes = await this.run('xrandr', []);
    if (!modes.includes(` ${mode} `)) {
      await this.run('xrandr', ['--newmode', mode, '50', ...Array(4).fill(String(width)), ...Array(4).fill(String(height))]);
      await this.run('xrandr', ['--addmode', 'screen', mode]);
    }
    await this.run('xrandr', ['--output', 'screen', '--mode', mode]);
  }

  /// Where the pointer is, in pixels of the root window.
  async pointer() {
    const text = await this.run('xdotool', ['getmouselocation', '--shell']);
    return { x: Number(text.match(/X=(\d+)/)[1]), y: Number(text.match(/Y=(\d+)/)[1]) };
  }

  /// Starts an xterm that runs a shell command, and waits until its window has the input focus. `options`: further ones
  /// of xterm.
  async terminal(command, { geometry = '80x24+0+0', options = [], env = {} } = {}) {
    const child = this.start('xterm', ['-geometry', geometry, ...options, '-e', 'sh', '-c', command], { env });
    const id = (await this.run('xdotool', ['search', '--sync', '--onlyvisible', '--class', 'xterm'])).trim().split('\n')[0];
    await this.run('xdotool', ['windowfocus', '--sync', id]);
    return { child, id };
  }

  /// Text that scrolls over the whole screen, a line every `pause` seconds, each line different.
  scrollingText({ pause = 0.016 } = {}) {
    const words = 'The quick brown fox jumps over the lazy dog 0123456789 abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ';
    const script = `i=0; while :; do i=$((i+1)); echo "$i ${words} $((i*7919)) ${words} $((i*104729))"; sleep ${pause}; done`;
    return this.start('xterm', ['-geometry', `${Math.floor(this.width / 6)}x${Math.floor(this.height / 13)}+0+0`, '-e', 'sh', '-c', script]);
  }

  /// Lines of random characters on a twentieth of the screen, all of them replaced more often than a frame is captured.
  /// Scrolled text costs an encoder that finds it in the frame before few bits; this takes as many as there are.
  newText({ pause = 0.01 } = {}) {
    const [columns, rows] = [Math.floor(this.width / 6), Math.ceil(this.height / 13 / 20)];
    const width = columns - 1;
    const script = `while :; do printf '\\033[H'; head -c ${Math.floor((width * rows * 3) / 4)} /dev/urandom | base64 -w ${width}; sleep ${pause}; done`;
    return this.start('xterm', ['-geometry', `${columns}x${rows + 1}+0+0`, '-e', 'sh', '-c', script]);
  }

  end() {
    return this.child.end();
  }
}
