// What a viewer sees and does on a Wayland desktop whose user has agreed.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { keystrokes } from './lib/keystrokes.mjs';
import { colours, near, rgb, shows } from './lib/viewer.mjs';
import { soonest, timed, until } from './lib/wait.mjs';
import { plainViewer, textField, withWayland } from './lib/wayland-session.mjs';

const left = 272;
const right = 273;
const middle = 274;
// A key without a meaning, by which the host makes sure that there is a keyboard.
const nothing = 240;

test('showsEveryColourAtItsPixelAndItsChanges', async (t) => {
  await withWayland(t, {}, async (session) => {
    const canvas = await session.screen.canvas();
    const areas = [['#c04020', [0, 0, 320, 240]], ['#20c040', [960, 0, 320, 240]], ['#2040c0', [0, 480, 320, 240]],
      ['#c0c020', [960, 480, 320, 240]], ['#808080', [320, 240, 640, 240]]];
    for (const [colour, area] of areas) await canvas.paint(colour, area);
    const page = await session.bare();
    // Inside each corner of each area.
    for (const [colour, [x, y, width, height]] of areas) {
      const places = [[x + 8, y + 8], [x + width - 8, y + 8], [x + 8, y + height - 8], [x + width - 8, y + height - 8]]
        .map(([px, py]) => [px / 1280, py / 720]);
      let seen;
      await until(async () => (seen = await colours(page, places))?.every((each) => near(each, rgb(colour))),
        { what: `${colour} in its area` }).catch((error) => assert.fail(`${error.message}: ${JSON.stringify(seen)}`));
    }
    const ms = await soonest(1000, async (round) => {
      const colour = ['#104070', '#701040', '#407010', '#707010'][round];
      return (await timed(async () => {
        await canvas.paint(colour);
        await shows(page, colour);
      })).ms;
    });
    t.diagnostic(`change on the screen seen after ${ms} ms`);
    assert.ok(ms < 1000, `${ms} ms`);
  });
});

test('movesThePointerToThePixelAskedForAndNotBeforeControlIsGranted', async (t) => {
  await withWayland(t, { wayland: { monitors: ['1000x600'] } }, async (session) => {
    const viewer = await plainViewer(session);
    const canvas = await session.screen.canvas();
    await viewer.send({ type: 'mouseMove', x: 0.1, y: 0.1 });
    await viewer.settled();
    assert.deepEqual(await viewer.received('ptr'), []);
    await viewer.takeControl(await session.host.pin());
    const at = (x, y) => until(() => `${canvas.pointer()}` === `${x},${y}`, { every: 5, what: `the pointer at ${x}, ${y}` })
      .catch((error) => assert.fail(`${error.message}; it is at ${canvas.text()}`));
    for (const [x, y, px, py] of [[0.25, 0.5, 250, 300], [0, 0, 0, 0], [0.9, 0.1, 900, 60], [1.5, -3, 999, 0], [1, 1, 999, 599]]) {
      const echo = await viewer.ask({ type: 'mouseMove', x, y }, 'ptr');
      assert.deepEqual(echo, { type: 'ptr', x, y });
      await at(px, py);
    }
    assert.ok(!canvas.said('motion').some(([x, y]) => x === 100 && y === 60), 'it moved before control was granted');

    // Given back, it is refused again.
    await viewer.ask({ type: 'control', enable: false }, 'control_state');
    await viewer.send({ type: 'mouseMove', x: 0.7, y: 0.7 });
    await viewer.settled();
    await viewer.ask({ type: 'control', enable: true }, 'control_state');
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.5 }, 'ptr');
    await at(500, 300);
    assert.ok(!canvas.said('motion').some(([x, y]) => x === 700 && y === 420), 'it moved when control was given back');
  });
});

test('clicksDragsAndScrollsWhereAskedFor', async (t) => {
  await withWayland(t, {}, async (session) => {
    const viewer = await plainViewer(session);
    const canvas = await session.screen.canvas();
    await viewer.takeControl(await session.host.pin());
    const at = { x: 100 / 1280, y: 50 / 720 };
    const expected = [];
    for (const [button, code] of [[0, left], [1, middle], [2, right], [9, left]]) {
      await viewer.send({ type: 'mouseClick', ...at, button });
      expected.push([code, 1], [code, 0]);
    }
    await viewer.send({ type: 'doubleClick', ...at, button: 0 });
    expected.push([left, 1], [left, 0], [left, 1], [left, 0]);
    const clicks = await until(() => canvas.said('button').length >= expected.length && canvas.said('button'), { what: 'the clicks' });
    assert.deepEqual(clicks, expected);
    assert.deepEqual(canvas.pointer(), [100, 50]);

    const before = canvas.lines.length;
    await viewer.send({ type: 'mouseDown', ...at, button: 0 });
    await viewer.send({ type: 'mouseMove', x: 200 / 1280, y: 60 / 720 });
    await viewer.send({ type: 'mouseUp', x: 300 / 1280, y: 70 / 720, button: 0 });
    await canvas.says('button', { after: before, holds: ([, state]) => state === 0 });
    const events = canvas.text('out').slice(before).map((line) => JSON.parse(line)).filter((each) => each.button ?? each.motion);
    const drag = events.slice(events.findIndex((each) => each.button));
    assert.deepEqual(drag[0], { button: [left, 1] });
    // A position that waits is replaced by the next one.
    assert.deepEqual(drag.slice(-2), [{ motion: [300, 70] }, { button: [left, 0] }]);
    assert.ok(drag.slice(1, -1).every((each) => each.motion), JSON.stringify(drag));

    // A wheel turns in steps, a touch pad smoothly: a step is 10 units for programs.
    for (const [wheel, scrolled] of [[{ dx: 0, dy: 120 }, [[0, 10, 1]]], [{ dx: 0, dy: -200 }, [[0, -10, -1], [0, -10, -1]]],
      [{ dx: 100, dy: 0 }, [[1, 10, 1]]]]) {
      const from = canvas.lines.length;
      await viewer.send({ type: 'wheel', ...wheel });
      await until(() => canvas.said('axis', from).length >= scrolled.length, { what: `what ${JSON.stringify(wheel)} scrolls` });
      assert.deepEqual(canvas.said('axis', from), scrolled);
    }
    const from = canvas.lines.length;
    for (let i = 0; i < 10; i++) await viewer.send({ type: 'wheel', dx: 0, dy: 7 });
    await until(() => canvas.said('axis', from).length >= 10, { what: 'ten smooth movements' });
    const smooth = canvas.said('axis', from);
    assert.ok(smooth.every(([axis, value, steps]) => axis === 0 && value > 0 && steps === 0), JSON.stringify(smooth));
    const sum = smooth.reduce((total, [, value]) => total + value, 0);
    assert.ok(Math.abs(sum - (70 * 10) / 53) < 2, `${sum} units`);
  });
});

test('whatIsTypedArrivesInATerminal', async (t) => {
  await withWayland(t, {}, async (session) => {
    const viewer = await plainViewer(session);
    const file = join(session.host.home, 'typed');
    const text = 'Hello World 0123456789, a-b=c; WHY? because: 1+1 never_ends!\n'.repeat(4);
    await session.screen.terminal(`cat > ${file}; echo done > ${file}.done`);

    for (const message of keystrokes('xyz\n')) await viewer.send(message);
    await viewer.settled();
    await viewer.takeControl(await session.host.pin());
    await viewer.page.evaluate((messages) => messages.forEach((message) => bare.send(message)), keystrokes(text));
    await viewer.settled();
    // The layout is a US one: the line that has what it lacks is pasted.
    const line = 'Grep "x" \\ {a|b} ~/[c]@d #$%^&* `e` <f>';
    const foreign = 'é中😀';
    const clipboard = async () => (await viewer.ask({ type: 'clipboard_request' }, 'clipboard_sync')).text;
    await viewer.ask({ type: 'clipboard_set', text: 'what was there', req: 1 }, 'ack');
    await viewer.ask({ type: 'clipboard_sync_enabled', enabled: true, req: 2 }, 'ack');
    assert.deepEqual(await viewer.ask({ type: 'type_text', id: 't1', text: `${line}\n${foreign}\n` }, 'text_typed'),
      { type: 'text_typed', id: 't1', typed: line.length + 5, length: line.length + 5 });
    assert.equal(await clipboard(), 'what was there');
    await viewer.send({ type: 'type_text', text: line });
    await viewer.send({ type: 'key_press', code: 'Enter' });
    // Ctrl-D ends cat: only a key with the right modifier and no other does that.
    const mods = { shift: false, ctrl: true, alt: false, meta: false };
    await viewer.send({ type: 'keyDown', code: 'KeyD', mods });
    await viewer.send({ type: 'keyUp', code: 'KeyD', mods });
    await until(() => readFile(`${file}.done`), { what: 'cat to end' });
    assert.equal(await readFile(file, 'utf8'), `${text}${line}\n${foreign}\n${line}\n`);
    // A program of the desktop finds it again, and the viewer has heard of nothing else.
    const canvas = await session.screen.canvas();
    await canvas.says('focus', { holds: (focus) => focus });
    await until(async () => (await canvas.tell('paste', 'clipboard')) === 'what was there', { every: 50, what: 'the clipboard to be as before' });
    const heard = (await viewer.received('clipboard_sync')).map(({ message }) => message.text);
    assert.deepEqual(heard, ['what was there']);
  });
});

test('whatIsTypedArrivesInTheFieldOfAPage', async (t) => {
  await withWayland(t, {}, async (session) => {
    const viewer = await plainViewer(session);
    await viewer.takeControl(await session.host.pin());
    const field = await textField(session);
    const text = 'é中😀\nplain “end”';
    assert.deepEqual(await viewer.ask({ type: 'type_text', id: 't1', text }, 'text_typed'),
      { type: 'text_typed', id: 't1', typed: 15, length: 15 });
    await until(() => field.value === text, { what: `the text, not ${JSON.stringify(field.value)}` });
  });
});

test('releasesHeldKeysAndButtonsWhenTheBrowserIsKilled', async (t) => {
  const limit = 12000;
  const ms = await soonest(limit, () => withWayland(t, { browserNow: false }, async (session) => {
    const browser = await session.startBrowser();
    const viewer = await plainViewer(session);
    const canvas = await session.screen.canvas();
    await canvas.says('focus', { holds: (focus) => focus });
    await viewer.takeControl(await session.host.pin());
    await viewer.send({ type: 'mouseDown', x: 0.1, y: 0.1, button: 0 });
    await viewer.send({ type: 'keyDown', code: 'KeyA', mods: { shift: true } });
    const keys = () => canvas.said('key').filter(([code]) => code !== nothing);
    await until(() => keys().length >= 2 && canvas.said('button').length >= 1, { what: 'the keys and the button' });
    assert.deepEqual(keys(), [[42, 1], [30, 1]]);
    assert.deepEqual(canvas.said('button'), [[left, 1]]);
    const start = performance.now();
    await browser.kill();
    const released = () => keys().filter(([, state]) => state === 0).map(([code]) => code).sort();
    await until(() => `${released()}` === '30,42' && canvas.said('button').length === 2, { what: 'all to be released' });
    assert.deepEqual(canvas.said('button').at(-1), [left, 0]);
    const took = Math.round(performance.now() - start);
    t.diagnostic(`released after ${took} ms`);
    return took;
  }));
  assert.ok(ms < limit, `${ms} ms`);
});

test('thePageReceivesTheShapeOfThePointer', async (t) => {
  await withWayland(t, { host: { env: { CURSOR_DEBUG: '1' } } }, async (session) => {
    const viewer = await plainViewer(session);
    const canvas = await session.screen.canvas();
    await viewer.takeControl(await session.host.pin());
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.5 }, 'ptr');
    await canvas.says('enter', { holds: () => true });
    const shapes = async () => (await viewer.received('cursor_shape')).map(({ message }) => message.shape);
    const times = [];
    for (const [name, shape] of [['text', 'text'], ['hand2', 'pointer'], ['sb_h_double_arrow', 'ew-resize'], ['crosshair', 'crosshair'],
      ['left_ptr', 'default']]) {
      times.push((await timed(async () => {
        await canvas.tell(`cursor ${name}`, 'cursor');
        await until(async () => (await shapes()).at(-1) === shape, { what: `"${shape}"` })
          .catch(async (error) => assert.fail(`${error.message}; ${await shapes()}`));
      })).ms);
    }
    t.diagnostic(`from the program's change to the shape: ${times.sort((a, b) => a - b).join(', ')} ms`);
    assert.equal((await viewer.ask({ type: 'cursor_query' }, 'cursor_shape')).shape, 'default');
  });
});

test('copiedTextsTravelBothWays', async (t) => {
  await withWayland(t, {}, async (session) => {
    const viewer = await plainViewer(session);
    const canvas = await session.screen.canvas();
    await canvas.says('focus', { holds: (focus) => focus });
    const asked = async () => (await viewer.ask({ type: 'clipboard_request' }, 'clipboard_sync')).text;
    await canvas.tell('copy vom Rechner – 表', 'copied');
    await until(async () => (await asked()) === 'vom Rechner – 表', { what: 'the copied text' });

    await viewer.ask({ type: 'clipboard_sync_enabled', enabled: true, req: 1 }, 'ack');
    await viewer.ask({ type: 'clipboard_set', text: 'vom Betrachter – 表', req: 2 }, 'ack');
    await until(async () => (await canvas.tell('paste', 'clipboard')) === 'vom Betrachter – 表', { every: 50, what: 'the text of the viewer' });
    const before = (await viewer.received('clipboard_sync')).length;
    await canvas.tell('copy zweite Kopie', 'copied');
    await until(async () => (await viewer.received('clipboard_sync')).length > before, { what: 'the copy' });
    const texts = (await viewer.received('clipboard_sync')).slice(before).map(({ message }) => message.text);
    assert.deepEqual(texts, ['zweite Kopie']);
  });
});

test('fiveReloadsInARowEachBringBackVideoAndControl', async (t) => {
  await withWayland(t, { host: { env: { CONTROL_TOKEN: '123456' } } }, async (session) => {
    const canvas = await session.screen.canvas(0, '#4080a0');
    const viewer = await plainViewer(session);
    await shows(viewer.page, '#4080a0');
    for (let round = 1; round <= 5; round++) {
      await viewer.page.reload();
      await shows(viewer.page, '#4080a0');
      await viewer.open();
      assert.equal((await viewer.ask({ type: 'control', enable: true }, 'control_state')).enabled, false);
      await viewer.takeControl('123456');
      await viewer.ask({ type: 'mouseMove', x: round / 10, y: 0.5 }, 'ptr');
      await until(() => `${canvas.pointer()}` === `${128 * round},360`, { what: 'the pointer' });
    }
    assert.deepEqual(await session.screen.tell('questions'), { asked: 1, waiting: 0 });
  });
});

test('everyMonitorIsADisplayOfItsOwn', async (t) => {
  await withWayland(t, { wayland: { monitors: ['1280x720', '800x600'] } }, async (session) => {
    const first = await session.screen.canvas(0, '#405060');
    const second = await session.screen.canvas(1, '#60a040');
    const viewer = await plainViewer(session);
    await shows(viewer.page, '#405060');
    await until(async () => (await viewer.received('display_info')).at(-1)?.message.count === 2, { what: 'two displays' });
    await viewer.takeControl(await session.host.pin());
    await viewer.ask({ type: 'display_index', index: 1 }, 'ack');
    await shows(viewer.page, '#60a040');
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.25 }, 'ptr');
    await until(() => `${second.pointer()}` === '400,150', { what: 'the pointer on the second' });
    await viewer.ask({ type: 'display_index', index: 0 }, 'ack');
    await shows(viewer.page, '#405060');
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.25 }, 'ptr');
    await until(() => `${first.pointer()}` === '640,180', { what: 'the pointer on the first' });
    assert.equal((await session.screen.tell('questions')).asked, 1);
  });
});
