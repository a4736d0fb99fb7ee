import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { keystrokes } from './lib/keystrokes.mjs';
import { unknownLines } from './lib/log-lines.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl } from './lib/viewer.mjs';
import { soonest, until } from './lib/wait.mjs';

/// A plain viewer with both channels open.
async function control(session) {
  return new BareControl(await session.bare()).open();
}

test('refusesAWrongPinAndTakesTheRightOne', async (t) => {
  await withSession(t, { host: { env: { CONTROL_TOKEN: '004711' } } }, async (session) => {
    const viewer = await control(session);
    assert.equal((await viewer.ask({ type: 'control', enable: true }, 'control_state')).enabled, false);
    assert.equal((await viewer.ask({ type: 'auth', token: '4711' }, 'auth')).ok, false);
    assert.equal((await viewer.ask({ type: 'auth' }, 'auth')).ok, false);
    assert.equal((await viewer.ask({ type: 'control', enable: true }, 'control_state')).enabled, false);
    assert.equal((await viewer.ask({ type: 'auth', token: '004711' }, 'auth')).ok, true);
    assert.equal((await viewer.ask({ type: 'control', enable: true }, 'control_state')).enabled, true);
    // A failed attempt takes the earlier success away.
    assert.equal((await viewer.ask({ type: 'auth', token: 'x' }, 'auth')).ok, false);
    assert.equal((await viewer.ask({ type: 'control', enable: true }, 'control_state')).enabled, false);
  });
});

test('everyPinOpensTheDemoRoom', async (t) => {
  await withSession(t, { host: { env: { ROOM: undefined, DEMO: '1' } } }, async (session) => {
    session.room = 'demo';
    const viewer = await control(session);
    assert.equal((await viewer.ask({ type: 'auth' }, 'auth')).ok, true);
    assert.equal((await viewer.ask({ type: 'control', enable: true }, 'control_state')).enabled, true);
  });
});

test('movesThePointerToThePixelAskedForAndNotBeforeControlIsGranted', async (t) => {
  await withSession(t, { screen: '1000x600' }, async (session) => {
    const viewer = await control(session);
    const before = await session.screen.pointer();
    await viewer.send({ type: 'mouseMove', x: 0.1, y: 0.1 });
    await viewer.settled();
    assert.deepEqual(await session.screen.pointer(), before);
    assert.deepEqual(await viewer.received('ptr'), []);

    await viewer.takeControl(await session.host.pin());
    for (const [x, y, px, py] of [[0.25, 0.5, 250, 300], [0, 0, 0, 0], [0.9, 0.1, 900, 60], [1.5, -3, 999, 0]]) {
      const echo = await viewer.ask({ type: 'mouseMove', x, y }, 'ptr');
      assert.deepEqual(echo, { type: 'ptr', x, y });
      assert.deepEqual(await session.screen.pointer(), { x: px, y: py });
    }
    const echo = await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.5, timestamp: Date.now() }, 'ptr', { label: 'control' });
    assert.deepEqual(Object.keys(echo).sort(), ['hostTimestamp', 'inputLatency', 'processLatency', 'type', 'x', 'y']);
    assert.equal((await viewer.received('ptr')).at(-1).label, 'control');

    // Given back, it is refused again.
    await viewer.ask({ type: 'control', enable: false }, 'control_state');
    await viewer.send({ type: 'mouseMove', x: 0.7, y: 0.7 });
    await viewer.settled();
    assert.deepEqual(await session.screen.pointer(), { x: 500, y: 300 });
  });
});

test('servesTheChannelThatTakesThePlaceOfOneThePageClosed', async (t) => {
  await withSession(t, { host: { env: { CURSOR_DEBUG: '1' } } }, async (session) => {
    const viewer = await control(session);
    const logged = (line) => session.host.log.filter((each) => each === line).length;
    for (const label of ['control_reliable', 'control']) {
      const more = label === 'control_reliable' ? 1 : 0;
      /// How often the effects of an opened channel were seen: the state, the information on displays, the monitoring
      /// of the pointer's shape.
      const seen = async () => [logged(`[dc] state=1 label=${label}`), (await viewer.received('display_info')).length,
        logged('[cursor] Starting cursor shape monitoring')];
      const ms = await soonest(1000, async () => {
        const [openings, infos, watches] = await seen();
        const wanted = `${[openings + 1, infos + more, watches + more]}`;
        const start = performance.now();
        await viewer.page.evaluate((label) => {
          bare.channels[label].close();
          delete bare.channels[label];
        }, label);
        await until(async () => `${await seen()}` === wanted, { what: `${wanted} of what ${label} brings when it opens` });
        await viewer.open();
        return Math.round(performance.now() - start);
      });
      t.diagnostic(`${label} is served again after ${ms} ms`);
      assert.ok(ms < 1000, `${ms} ms`);

      const times = async () => (await viewer.received('host_stats')).map(({ at }) => at);
      const known = (await times()).length;
      const arrived = await until(async () => (await times()).length > known + 8 && (await times()).slice(known), { what: 'statistics' });
      const rate = (arrived.length - 1) / ((arrived.at(-1) - arrived[0]) / 1000);
      assert.ok(rate > 3 && rate < 5, `${rate} host_stats a second`);
    }
    assert.deepEqual(unknownLines(session.host.log), []);
  });
});

test('whatIsTypedArrivesInATerminal', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    const file = join(session.host.home, 'typed');
    const text = 'Hello World 0123456789, a-b=c; WHY? because: 1+1 never_ends!\n'.repeat(4);
    // More than a keyboard has, and more different characters than the X server has places for.
    const any = `Grüße, 7 € @ {Łódź} «Привет» 世界 😀 ^~|\\\t${Array.from({ length: 60 }, (_, at) => String.fromCharCode(0x3041 + at)).join('')}`;
    const { child } = await session.screen.terminal(`cat > ${file}; echo done > ${file}.done`, { env: { LC_ALL: 'C.UTF-8' } });
    session.keep(child);

    for (const message of keystrokes('xyz\n')) await viewer.send(message);
    await viewer.settled();
    await viewer.takeControl(await session.host.pin());
    await viewer.page.evaluate((messages) => messages.forEach((message) => bare.send(message)), keystrokes(text));
    await viewer.settled();
    const length = [...any].length + 1;
    assert.deepEqual(await viewer.ask({ type: 'type_text', id: 't1', text: `${any}\r\n` }, 'text_typed'),
      { type: 'text_typed', id: 't1', typed: length, length });
    // What follows a text comes after it.
    await viewer.send({ type: 'type_text', text: any });
    await viewer.send({ type: 'key_press', code: 'Enter' });
    // Ctrl-D ends cat: only a key with the right modifier and no other does that.
    const mods = { shift: false, ctrl: true, alt: false, meta: false };
    await viewer.send({ type: 'keyDown', code: 'KeyD', mods });
    await viewer.send({ type: 'keyUp', code: 'KeyD', mods });
    await until(() => readFile(`${file}.done`), { what: 'cat to end' });
    assert.equal(await readFile(file, 'utf8'), `${text}${any}\n${any}\n`);
  });
});

test('clicksAndScrollsWhereAskedFor', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    const xev = session.keep(session.screen.start('stdbuf', ['-oL', 'xev', '-geometry', '400x300+0+0', '-event', 'button']));
    await session.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--name', 'Event Tester']);
    await viewer.takeControl(await session.host.pin());
    const at = { x: 100 / 1280, y: 50 / 720 };
    const expected = [];
    for (const [button, x11] of [[0, 1], [1, 2], [2, 3], [9, 1]]) {
      await viewer.send({ type: 'mouseClick', ...at, button });
      expected.push(`press ${x11}`, `release ${x11}`);
    }
    await viewer.send({ type: 'doubleClick', ...at, button: 0 });
    expected.push('press 1', 'release 1', 'press 1', 'release 1');
    await viewer.send({ type: 'mouseDown', ...at, button: 2 });
    await viewer.send({ type: 'mouseMove', x: 200 / 1280, y: 60 / 720 });
    await viewer.send({ type: 'mouseUp', x: 200 / 1280, y: 60 / 720, button: 2 });
    expected.push('press 3', 'release 3');

    /// The button events xev has printed, as "press 1" and the like.
    const events = () => {
      const text = xev.text('out').join('\n');
      return [...text.matchAll(/Button(Press|Release) event[^]*?button (\d+)/g)].map(([, kind, number]) => `${kind.toLowerCase()} ${number}`);
    };
    await until(() => events().length >= expected.length, { what: `${expected.length} button events` });
    assert.deepEqual(events(), expected);

    const seen = events().length;
    await viewer.send({ type: 'wheel', dx: 0, dy: 600 });
    await until(() => events().length >= seen + 2, { what: 'the wheel' });
    assert.deepEqual([...new Set(events().slice(seen))], ['press 5', 'release 5']);
  });
});

/// Holds a key with a modifier and a button down, lets `leave` take the viewer away, and waits until all are released;
/// resolves to the milliseconds that this took.
function holdAndLeave(t, leave, want) {
  return withSession(t, { browserNow: false, ...want }, async (session) => {
    const browser = await (want.ownBrowser ? session.startBrowser() : session.useBrowser());
    const viewer = await control(session);
    const xev = session.keep(session.screen.start('stdbuf', ['-oL', 'xev', '-geometry', '400x300+0+0', '-event', 'keyboard', '-event', 'button']));
    const window = (await session.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--name', 'Event Tester'])).trim();
    await session.screen.run('xdotool', ['windowfocus', '--sync', window]);
    await viewer.takeControl(await session.host.pin());
    await viewer.send({ type: 'mouseDown', x: 0.1, y: 0.1, button: 0 });
    await viewer.send({ type: 'keyDown', code: 'KeyA', mods: { shift: true } });

    /// How many events of a kind were printed that hold a text.
    const count = (kind, more = '') => xev.text('out').join('\n').split('\n\n')
      .filter((block) => block.includes(`${kind} event`) && block.includes(more)).length;
    await until(() => count('KeyPress', 'keysym 0x41, A') > 0 && count('ButtonPress') > 0, { what: 'the key and the button' });
    assert.equal(count('ButtonRelease'), 0);
    const start = performance.now();
    await leave(viewer.page, browser, session);
    await until(() => count('KeyRelease', ', A)') + count('KeyRelease', ', a)') > 0, { what: 'the key to be let go' });
    await until(() => count('KeyRelease', 'Shift_L') > 0, { what: 'the modifier to be let go' });
    await until(() => count('ButtonRelease') > 0, { what: 'the button to be let go' });
    const ms = Math.round(performance.now() - start);
    t.diagnostic(`let go after ${ms} ms`);
    return ms;
  });
}

/// The same, within `limit` milliseconds.
async function letsGo(t, limit, leave, want = {}) {
  const ms = await soonest(limit, () => holdAndLeave(t, leave, want));
  assert.ok(ms < limit, `${ms} ms`);
}

// A page that is left closes its connection; a viewer that disappears is detected more than a second later.
test('releasesHeldKeysAndButtonsWhenThePageGoesElsewhere', (t) => letsGo(t, 1000, (page) => page.goto('about:blank')));

test('releasesHeldKeysAndButtonsWhenTheBrowserIsKilled', (t) =>
  letsGo(t, 12000, (_, browser) => browser.kill(), { ownBrowser: true }));

test('releasesHeldKeysAndButtonsWhenTheConnectionIsLost', (t) =>
  letsGo(t, 15000, (_page, _browser, session) => session.far.unplug(), { far: true }));
