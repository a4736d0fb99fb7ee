// Networks for tests. Everything runs inside scripts/lab, which gives one address (VANTORA_LAB). A second machine is a
// further network name space behind a link whose rate, delay and state a test sets. It ends with its holder process.
import { Child, run } from './child.mjs';
import { until } from './wait.mjs';

/// The address of this side's network card.
export function labAddress() {
  const address = process.env.VANTORA_LAB;
  if (!address) throw new Error('this test needs a network of its own: run it through scripts/lab');
  return address;
}

let count = 0;

/// Another machine on a cable of its own.
export class FarMachine {
  static async start() {
    labAddress();
    const number = ++count;
    const holder = new Child('unshare', ['--net', 'sleep', 'infinity']);
    const far = new FarMachine(holder, number);
    await until(async () => (await run('readlink', [`/proc/${holder.pid}/ns/net`])) !== (await run('readlink', ['/proc/self/ns/net'])),
      { what: 'the name space of the far machine' });
    await run('ip', ['link', 'add', far.nearCard, 'type', 'veth', 'peer', 'name', 'far0', 'netns', String(holder.pid)]);
    await run('ip', ['addr', 'add', `${far.nearAddress}/24`, 'dev', far.nearCard]);
    await run('ip', ['link', 'set', far.nearCard, 'up']);
    await far.run('ip', ['link', 'set', 'lo', 'up']);
    await far.run('ip', ['addr', 'add', `${far.address}/24`, 'dev', 'far0']);
    await far.run('ip', ['link', 'set', 'far0', 'up']);
    await far.run('ip', ['route', 'add', 'default', 'via', far.nearAddress]);
    await run('ip', ['addr', 'add', `${far.serverAddress}/32`, 'dev', 'lo']);
    await far.routeToServer();
    return far;
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

  async unplug() {
    await run('ip', ['link', 'set', this.nearCard, 'down']);
  }

  async plug() {
    await run('ip', ['link', 'set', this.nearCard, 'up']);
  }

  end() {
    return this.holder.end('SIGKILL');
  }
}
