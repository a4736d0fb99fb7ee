// Sessions on a Wayland desktop.
import assert from 'node:assert/strict';
import { createServer } from 'node:http';
import { DesktopBus } from './desktop-bus.mjs';
import { unknownLines } from './log-lines.mjs';
import { temporaryDirectory } from './paths.mjs';
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

/// The field of a page in a browser on the session's desktop, once it has the keyboard; `value` is what it contains.
export async function textField(session) {
  const field = { value: null };
  const page = `<!doctype html><textarea autofocus></textarea><script>
    const area = document.querySelector('textarea');
    const tell = () => fetch('/', { method: 'POST', body: area.value });
    area.oninput = tell;
    const focused = setInterval(() => document.hasFocus() && (clearInterval(focused), area.focus(), tell()), 20);
  </script>`;
  const server = createServer(async (request, response) => {
    if (request.method === 'POST') field.value = (await request.setEncoding('utf8').toArray()).join('');
    response.writeHead(200, { 'Content-Type': 'text/html; charset=utf-8' }).end(request.url === '/' ? page : '');
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const directory = await temporaryDirectory('field');
  const browser = session.screen.start('/usr/bin/chromium', ['--ozone-platform=wayland', '--no-sandbox', '--disable-gpu',
    '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync',
    `--user-data-dir=${directory.path}`, `--app=http://127.0.0.1:${server.address().port}/`], { env: { HOME: directory.path } });
  session.keep({
    async end() {
      await browser.end('SIGKILL');
      server.closeAllConnections();
      server.close();
      await directory.remove();
    },
  });
  await until(() => field.value !== null, { what: 'the keyboard for the field' });
  return field;
}
