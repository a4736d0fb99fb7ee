// Networks for tests. Everything runs inside scripts/lab, which gives one address (VANTORA_LAB). A second machine is a
// further network name space behind a link whose rate, delay and state a test sets. It ends with its holder process.
import { readFile } from 'node:fs/promises';
import { Child, run } from './child.mjs';
import { timed, until } from './wait.mjs';

/// The address of this side's network card.
export function labAddress() {
  const address = process.env.VANTORA_LAB;
  if (!address) throw new Error('this test needs a network of its own: run it through scripts/lab');
  return address;
}

// Test files may share a laboratory, and the leftovers of one disappear with a delay: each uses its own numbers.
let count = process.pid % 200;

/// Removes this side's own network card while `body` runs, so that a far machine's cable is the only way out.
export async function withoutOwnCard(body) {
  await run('ip', ['link', 'set', 'lab0', 'down']);
  try {
    return await body();
  } finally {
    await run('ip', ['link', 'set', 'lab0', 'up']);
    await run('ip', ['route', 'replace', 'default', 'via', '10.77.0.254', 'dev', 'lab0']);
  }
}

/// Another machine on a cable of its own.
export class FarMachine {
  static async start() {
    labAddress();
    const number = ++count;
    const holder = new Child('unshare', ['--net', 'sleep', 'infinity']);
    const far = new FarMachine(holder, number);
    try {
      await far.#connect();
    } catch (error) {
      await far.end();
      throw error;
    }
    return far;
  }

  async #connect() {
    await until(async () => (await run('readlink', [`/proc/${this.holder.pid}/ns/net`])) !== (await run('readlink', ['/proc/self/ns/net'])),
      { what: 'the name space of the far machine' });
    await run('ip', ['link', 'add', this.nearCard, 'type', 'veth', 'peer', 'name', 'far0', 'netns', String(this.holder.pid)]);
    // An IPv6 address that is assigned automatically a second later is a change of network, on which a browser drops
    // what it loads.
    await run('ip', ['link', 'set', this.nearCard, 'addrgenmode', 'none']);
    await this.run('ip', ['link', 'set', 'far0', 'addrgenmode', 'none']);
    await run('ip', ['addr', 'add', `${this.nearAddress}/24`, 'dev', this.nearCard]);
    await run('ip', ['link', 'set', this.nearCard, 'up']);
    await this.run('ip', ['link', 'set', 'lo', 'up']);
    await this.run('ip', ['addr', 'add', `${this.address}/24`, 'dev', 'far0']);
    await this.run('ip', ['link', 'set', 'far0', 'up']);
    await this.run('ip', ['route', 'add', 'default', 'via', this.nearAddress]);
    await run('ip', ['addr', 'replace', `${this.serverAddress}/32`, 'dev', 'lo']);
    await this.routeToServer();
  }

  constructor(holder, number) {
    this.holder = holder;
    this.nearCard = `near${number}`;
    this.nearAddress = `10.78.${number}.1`;
    this.address = `10.78.${number}.2`;
    /// Where servers on this side listen: an address that no card has, so that it stays when those of the cards change.
    this.serverAddress = `10.79.${number}.1`;
    /// Put before a command to run it on the far machine.
    this.wrapper = ['nsenter', '--target', String(holder.pid), '--net'];
  }

  run(command, args) {
    return run(this.wrapper[0], [...this.wrapper.slice(1), command, ...args]);
  }

  /// After a change of the far machine's address or when its card was down.
  routeToServer() {
    return this.run('ip', ['route', 'replace', this.serverAddress, 'dev', 'far0']);
  }

  /// Limits what flows towards the far machine, e.g. {rate: '2mbit', latency: '50ms'}.
  async shape({ rate, burst = '16kb', latency = '50ms' }) {
    await run('tc', ['qdisc', 'replace', 'dev', this.nearCard, 'root', 'tbf', 'rate', rate, 'burst', burst, 'latency', latency]);
  }

  async unshape() {
    await run('tc', ['qdisc', 'del', 'dev', this.nearCard, 'root']);
  }

  /// Loses a share (0 to 1) of the datagrams that arrive at the far machine, each by chance.
  async lose(share) {
    await this.run('iptables', ['-A', 'INPUT', '-i', 'far0', '-p', 'udp', '-m', 'statistic', '--mode', 'random',
      '--probability', String(share), '-j', 'DROP']);
  }

  /// Bytes that went onto the cable towards the far machine so far, with all their headers.
  async sentBytes() {
    const line = (await readFile('/proc/net/dev', 'utf8')).split('\n').find((each) => each.trim().startsWith(`${this.nearCard}:`));
    return Number(line.split(':')[1].trim().split(/\s+/)[8]);
  }

  async unplug() {
    await run('ip', ['link', 'set', this.nearCard, 'down']);
  }

  /// Unplugs and plugs again `seconds` later, in one command: only the machine itself can delay it. Resolves to the
  /// milliseconds that it took.
  async interrupt(seconds) {
    const { ms } = await timed(() =>
      run('sh', ['-c', `ip link set ${this.nearCard} down && sleep ${seconds} && ip link set ${this.nearCard} up`]));
    return ms;
  }

  async plug() {
    await run('ip', ['link', 'set', this.nearCard, 'up']);
  }

  async end() {
    await run('ip', ['addr', 'del', `${this.serverAddress}/32`, 'dev', 'lo']).catch(() => {});
    return this.holder.end('SIGKILL');
  }
}
