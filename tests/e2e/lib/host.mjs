// The host under test: the real executable with a clean environment.
import { mkdir } from 'node:fs/promises';
import { join } from 'node:path';
import { Child } from './child.mjs';
import { nobody } from './message-bus.mjs';
import { build, temporaryDirectory } from './paths.mjs';

export class Host {
  /// Starts it with a home directory of its own; `env` adds to its environment, `args` are its arguments, and `program`
  /// is another copy than the one that was built.
  static async start({ env = {}, args = [], wrapper = [], program = join(build, 'vantora-host') } = {}) {
    const home = await temporaryDirectory('home');
    const runtime = join(home.path, 'run');
    await mkdir(join(home.path, 'Downloads'));
    await mkdir(runtime, { mode: 0o700 });
    const [command, ...rest] = [...wrapper, program, ...args];
    const child = new Child(command, rest, {
      clearEnv: true,
      env: {
        PATH: process.env.PATH,
        LANG: 'C.UTF-8',
        HOME: home.path,
        XDG_RUNTIME_DIR: runtime,
        ICE_URLS: ',',
        DBUS_SESSION_BUS_ADDRESS: nobody,
        XDG_DATA_DIRS: '/usr/local/share:/usr/share',
        ...env,
      },
    });
    return new Host(child, home);
  }

  constructor(child, home) {
    this.child = child;
    this.home = home.path;
    this.removeHome = home.remove;
  }

  /// Every line of standard error so far.
  get log() {
    return this.child.text('err');
  }

  line(pattern, options) {
    return this.child.line(pattern, options);
  }

  /// The PIN, from the host's log.
  async pin() {
    return (await this.line(/^\[control\] PIN: (.+)$/))[1];
  }

  /// Share of one core in percent over `ms` milliseconds.
  async cpuPercent(ms) {
    const before = await this.child.cpuSeconds();
    const start = performance.now();
    await new Promise((resolve) => setTimeout(resolve, ms));
    return ((await this.child.cpuSeconds()) - before) / ((performance.now() - start) / 100000);
  }

  async end(signal, deadline) {
    const exit = await this.child.end(signal, deadline);
    await this.removeHome();
    return exit;
  }
}
