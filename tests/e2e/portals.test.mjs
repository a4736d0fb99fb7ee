// Parts of a Wayland desktop that end during a session, and come back.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { colours, shows } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';
import { offers, panel, plainViewer, withWayland } from './lib/wayland-session.mjs';

/// Kills a part of the desktop during a session, and expects the session back when it has been started again and the
/// local user shares the screen again.
function endures(t, part, options = []) {
  return withWayland(t, { hostNow: false, wayland: { options } }, async (session) => {
    const desktop = session.screen;
    const bus = await panel(session);
    await desktop.paint('#2060c0');
    await session.startHost();
    const viewer = await plainViewer(session);
    await shows(viewer.page, '#2060c0');
    await viewer.takeControl(await session.host.pin());

    await desktop.tell(`kill ${part}`);
    await session.host.line(/^\[desktop\] closed: .+/);
    await offers(bus, 'Start Sharing');
    await viewer.settled();
    assert.equal((await viewer.ask({ type: 'control', enable: true }, 'control_state')).enabled, false);

    await desktop.restart(part);
    await bus.click('Start Sharing');
    await desktop.asked(2);
    const canvas = part === 'compositor' ? await desktop.canvas() : desktop.painted;
    await canvas.paint('#c06020');
    await shows(viewer.page, '#c06020');
    await viewer.takeControl(await session.host.pin());
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.5 }, 'ptr');
    await until(() => `${canvas.pointer()}` === '640,360', { what: 'the pointer' });
  });
}

test('pipeWireMayEndAndComeBack', (t) => endures(t, 'pipewire'));

test('thePortalMayEndAndComeBack', (t) => endures(t, 'portal'));

// Without X11: each compositor has an X display with a key of its own.
test('theCompositorMayEndAndComeBack', (t) => endures(t, 'compositor', ['--no-x11']));

test('sharingThatStartsWithoutAPortalIsRefusedAndAskedForLater', async (t) => {
  await withWayland(t, { hostNow: false }, async (session) => {
    const desktop = session.screen;
    const bus = await panel(session);
    await desktop.paint('#2060c0');
    await desktop.tell('kill portal');
    await session.startHost();
    const viewer = await plainViewer(session);
    await session.host.line(/^\[sc\] start error: .*portal.*/);
    await desktop.restart('portal');
    await bus.click('Stop Sharing');
    await offers(bus, 'Start Sharing');
    await bus.click('Start Sharing');
    await shows(viewer.page, '#2060c0');
  });
});

test('theMenusWindowOpensWithoutAnXServer', async (t) => {
  await withWayland(t, { wayland: { options: ['--no-x11'] } }, async (session) => {
    const page = await session.bare();
    const places = Array.from({ length: 400 }, (_, i) => [((i % 20) + 0.5) / 20, (Math.floor(i / 20) + 0.5) / 20]);
    // Its background: nothing else here is that bright.
    const bright = async () => (await colours(page, places))?.filter((each) => each.every((part) => part > 225)).length ?? 0;
    await until(async () => (await bright()) > 20, { what: 'the window' });
  });
});
