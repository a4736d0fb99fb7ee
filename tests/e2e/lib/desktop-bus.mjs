// A session bus with a panel, a dock and a notification server on it, faked by the tests.
import { join } from 'node:path';
import { Child } from './child.mjs';
import { MessageBus } from './message-bus.mjs';
import { build } from './paths.mjs';
import { until } from './wait.mjs';

export class DesktopBus {
  /// On `bus`, which ends with it, or on one of its own.
  static async start(given = null) {
    const bus = new DesktopBus(given ?? await MessageBus.start());
    bus.env = { DBUS_SESSION_BUS_ADDRESS: bus.bus.address };
    bus.double = new Child(join(build, 'tests/ui_bus_double'), [], { env: bus.env, input: 'pipe' });
    await bus.double.line('{"ready":true}');
    return bus;
  }

  constructor(bus) {
    this.bus = bus;
    this.asked = 0;
  }

  #seen(key) {
    return this.double.text('out').map((line) => JSON.parse(line)).filter((each) => key in each);
  }

  /// Notifications so far, oldest first: {application, title, body, hints}.
  notifications() {
    return this.#seen('notification').map(({ notification }) => notification);
  }

  /// What the dock shows on the program's icon: a count, or null while it shows none.
  badge() {
    const last = this.#seen('badge').at(-1);
    return last?.visible ? last.badge : null;
  }

  /// One request at a time.
  async #ask(question) {
    const before = this.asked++;
    this.double.process.stdin.write(`${question}\n`);
    const answers = await until(() => {
      const all = this.#seen('answer');
      return all.length > before && all;
    }, { what: `an answer to "${question}"` });
    return answers[before].answer;
  }

  /// The rows of the menu: [{label, enabled, checked}]; null without an item in the panel.
  rows() {
    return this.#ask('rows');
  }

  /// Waits until the menu has a row for which `holds` is true, and returns it.
  row(holds, what) {
    return until(async () => (await this.rows())?.find(holds), { every: 50, what });
  }

  /// Presses the row of that label, as soon as there is one.
  click(label) {
    return until(() => this.#ask(`click ${label}`), { every: 50, what: `the row "${label}"` });
  }

  async end() {
    await this.double?.end();
    await this.bus.end();
  }
}
