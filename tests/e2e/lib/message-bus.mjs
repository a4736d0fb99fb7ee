// A private session bus: the only way in which a test starts one. It starts no service that is installed on the
// machine.
import { mkdir } from 'node:fs/promises';
import { join } from 'node:path';
import { Child } from './child.mjs';
import { root, temporaryDirectory } from './paths.mjs';

/// An address without a bus: without any address, a program starts a bus through its display, with every service there
/// is.
export const nobody = 'unix:path=/nonexistent';
process.env.DBUS_SESSION_BUS_ADDRESS = nobody;

export class MessageBus {
  /// `configuration` is a file of tests/bus; `env` adds to the environment of the services that it starts.
  static async start({ configuration = 'session.conf', env = {} } = {}) {
    const home = await temporaryDirectory('bus');
    const place = { HOME: home.path, XDG_RUNTIME_DIR: join(home.path, 'run') };
    await mkdir(place.XDG_RUNTIME_DIR, { mode: 0o700 });
    const daemon = new Child('dbus-daemon', [`--config-file=${join(root, 'tests/bus', configuration)}`, '--nofork', '--nopidfile',
      '--nosyslog', '--print-address=1'], { env: { ...place, ...env } });
    const [address] = await daemon.line(/^unix:.+/);
    return new MessageBus(home, daemon, { ...place, ...env, DBUS_SESSION_BUS_ADDRESS: address });
  }

  /// `env`: for programs on this bus.
  constructor(home, daemon, env) {
    this.home = home;
    this.daemon = daemon;
    this.env = env;
    this.address = env.DBUS_SESSION_BUS_ADDRESS;
  }

  async end() {
    await this.daemon.end();
    await this.home.remove();
  }
}
