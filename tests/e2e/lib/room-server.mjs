// The companion's room server, on a free port.
import { join } from 'node:path';
import { Child } from './child.mjs';
import { build } from './paths.mjs';

const command = ([program, ...args]) => [program, args];

export class RoomServer {
  /// `allow`: addresses of other servers whose pages may use the rooms.
  /// `wrapper`: put before its command, as to run it on another machine.
  static async start({ port = 0, listen = '127.0.0.1', allow = [], wrapper = [] } = {}) {
    const origins = allow.flatMap((address) => ['--allow-origin', address]);
    const child = new Child(...command([...wrapper, join(build, 'vantora-room-server'), '--port', String(port), '--listen', listen, ...origins]));
    const [, address] = await child.line(/listening on (http:\/\/\S+)/);
    return new RoomServer(child, address);
  }

  constructor(child, address) {
    this.child = child;
    this.address = address;
    this.signalUrl = address.replace(/^http/, 'ws');
    this.port = Number(new URL(address).port);
  }

  end() {
    return this.child.end();
  }
}
