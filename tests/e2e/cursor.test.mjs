import assert from 'node:assert/strict';
import { join } from 'node:path';
import { test } from 'node:test';
import { run } from './lib/child.mjs';
import { unknownLines } from './lib/log-lines.mjs';
import { MessageBus } from './lib/message-bus.mjs';
import { build } from './lib/paths.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

/// The shapes received so far, oldest first.
async function shapes(viewer) {
  return (await viewer.received('cursor_shape')).map(({ message }) => message.shape);
}

/// Moves the pointer to a pixel and waits until the newest shape is `shape`; resolves to the milliseconds that took.
async function pointsAt(viewer, session, [x, y], shape) {
  const start = performance.now();
  // The middle of the pixel, whatever is rounded on the way.
  await viewer.send({ type: 'mouseMove', x: (x + 0.5) / session.screen.width, y: (y + 0.5) / session.screen.height });
  await until(async () => (await shapes(viewer)).at(-1) === shape, { every: 5, what: `"${shape}" at ${x}, ${y}` });
  return Math.round(performance.now() - start);
}

test('thePageReceivesTheShapeOfThePointerWhereverItMoves', async (t) => {
  await withSession(t, { host: { env: { CURSOR_DEBUG: '1' } } }, async (session) => {
    const viewer = await new BareControl(await session.bare()).open();
    const { child } = await session.screen.terminal('read line', { geometry: '40x10+100+100' });
    session.keep(child);
    await session.screen.run('xsetroot', ['-cursor_name', 'fleur']);
    await viewer.takeControl(await session.host.pin());

    await pointsAt(viewer, session, [1000, 600], 'move');
    const first = (await viewer.received('cursor_shape'))[0];
    assert.equal(first.label, 'control');
    assert.ok(Math.abs(first.message.timestamp - Date.now()) < 60000, 'milliseconds since 1970');
    const times = [];
    for (let round = 0; round < 5; ++round) {
      times.push(await pointsAt(viewer, session, [180, 140], 'text'), await pointsAt(viewer, session, [1000, 600], 'move'));
    }
    // The shape is polled twice a second, but sent only when it changes: ten more polls change nothing.
    const sent = await shapes(viewer);
    const polls = () => session.host.log.filter((line) => line === '[cursor] Fallback NSCursor: move').length;
    const before = polls();
    await until(() => polls() >= before + 10, { what: 'ten polls' });
    assert.deepEqual(await shapes(viewer), sent);

    // A query gets its reply all the same, and an acknowledgement without the fields of the query.
    assert.equal((await viewer.ask({ type: 'cursor_query', req: 1 }, 'cursor_shape')).shape, 'move');
    await until(async () => (await viewer.received('ack')).length > 0, { what: 'the acknowledgement' });
    assert.deepEqual((await viewer.received('ack')).at(-1).message, { type: 'ack' });
    assert.equal((await viewer.ask({ type: 'test_cursor', shape: 'zoom-in', req: { n: 5 } }, 'cursor_shape')).shape, 'zoom-in');
    await until(async () => (await viewer.received('ack')).length > 1, { what: 'the second acknowledgement' });
    assert.deepEqual((await viewer.received('ack')).at(-1).message, { type: 'ack', req: { n: 5 } });
    assert.deepEqual(unknownLines(session.host.log), []);
    t.diagnostic(`from the viewer's movement to the shape: ${times.sort((a, b) => a - b).join(', ')} ms`);
  });
});

test('testModeGoesThroughTheShapes', async (t) => {
  await withSession(t, { host: { env: { CURSOR_TEST: '1' } } }, async (session) => {
    const viewer = await new BareControl(await session.bare()).open();
    await until(async () => (await shapes(viewer)).length >= 3, { what: 'three shapes' });
    const cycle = ['default', 'pointer', 'text', 'grab', 'grabbing', 'crosshair', 'not-allowed', 'ew-resize', 'ns-resize',
      'n-resize', 's-resize', 'w-resize', 'e-resize'];
    const places = (await shapes(viewer)).map((shape) => cycle.indexOf(shape));
    assert.ok(!places.includes(-1), (await shapes(viewer)).join(', '));
    // Every three seconds the next one is shown, and may be missed while the machine is stalled.
    const steps = places.slice(1).map((place, index) => (place - places[index] + cycle.length) % cycle.length);
    assert.ok(steps.every((step) => step === 1 || step === 2), `positions ${places.join(', ')}`);
  });
});

/// A session bus with the accessibility service on it.
async function accessibilityBus() {
  const bus = await MessageBus.start({ configuration: 'accessible-session.conf', env: { AT_SPI_BUS_ADDRESS: '' } });
  await run('dbus-send', ['--session', '--print-reply', '--dest=org.a11y.Bus', '/org/a11y/bus', 'org.a11y.Bus.GetAddress'], {
    env: { ...process.env, ...bus.env },
  });
  return bus;
}

test('theElementUnderThePointerDecidesAndAProgramThatHangsDoesNotStallTheSession', async (t) => {
  const bus = await accessibilityBus();
  try {
    const { address } = bus;
    await withSession(t, { host: { env: { DBUS_SESSION_BUS_ADDRESS: address } } }, async (session) => {
      const program = session.screen.start(join(build, 'tests/accessibility_qt_program'), [], {
        env: { ...bus.env, QT_LINUX_ACCESSIBILITY_ALWAYS_ON: '1', QT_QPA_PLATFORM: 'xcb' },
      });
      session.keep(program);
      const viewer = await new BareControl(await session.bare()).open();
      await viewer.takeControl(await session.host.pin());
      // A button, over which the program's own cursor is a plain arrow.
      await pointsAt(viewer, session, [150, 175], 'pointer');
      const times = [];
      for (let round = 0; round < 5; ++round) {
        times.push(await pointsAt(viewer, session, [150, 135], 'text'), await pointsAt(viewer, session, [150, 175], 'pointer'));
      }
      await pointsAt(viewer, session, [499, 150], 'col-resize');
      await pointsAt(viewer, session, [103, 103], 'nwse-resize');
      t.diagnostic(`from the viewer's movement to the shape: ${times.sort((a, b) => a - b).join(', ')} ms`);

      program.signal('SIGSTOP');
      try {
        // The cursor shows what it showed; everything else works as before. A call that waited for the program would
        // take 25 seconds.
        for (let round = 0; round < 20; ++round) {
          const echo = await viewer.ask({ type: 'mouseMove', x: 0.1 + round / 200, y: 0.2 }, 'ptr', { deadline: 10000 });
          assert.equal(echo.y, 0.2);
          await viewer.ask({ type: 'cursor_query' }, 'cursor_shape', { deadline: 10000 });
        }
      } finally {
        program.signal('SIGCONT');
      }
      await pointsAt(viewer, session, [150, 175], 'pointer');
    });
  } finally {
    await bus.end();
  }
});
