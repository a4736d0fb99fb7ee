// Sessions on a Wayland desktop.
import assert from 'node:assert/strict';
import { DesktopBus } from './desktop-bus.mjs';
import { unknownLines } from './log-lines.mjs';
import { withSession } from './session.mjs';
import { BareControl } from './viewer.mjs';
import { until } from './wait.mjs';

/// Like withSession; at the end every host ends with status 0 when it is asked to, and has written known lines only.
export function withWayland(t, want, body) {
  return withSession(t, { wayland: {}, ...want }, async (session) => {
    const result = await body(session);
    for (const host of session.hosts) {
      assert.deepEqual(await host.child.end(), { code: 0, signal: null });
      assert.deepEqual(unknownLines(host.log), []);
    }
    return result;
  });
}

/// A plain viewer with both channels open.
export async function plainViewer(session) {
  return new BareControl(await session.bare()).open();
}

/// The panel of the session's desktop, with the host's menu in it.
export async function panel(session) {
  const { env } = session.screen;
  const bus = await DesktopBus.start({ address: env.DBUS_SESSION_BUS_ADDRESS, env, end: () => {} });
  session.keep(bus);
  return bus;
}

/// Waits until the menu offers to share the screen ("Start Sharing") or to end that ("Stop Sharing").
export function offers(bus, label) {
  return bus.row((row) => row.label === label, `the row "${label}"`);
}

/// Waits until the viewer has been told `count` times that a permission is missing.
export function toldMissing(viewer, permission, count = 1) {
  return until(async () => (await viewer.received('permission_required'))
    .filter(({ message }) => message.permission === permission).length >= count, { what: `${count} "${permission}"` });
}
