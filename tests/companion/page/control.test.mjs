// Control from the viewer's page: the PIN, pointer and wheel.
import assert from 'node:assert/strict';
import { until } from '../../e2e/lib/wait.mjs';
import {
  dataset, forget, hasState, inControl, pairTests, pointOnImage, receivedMessages, settled, takeControl, untilReceived,
} from './setup.mjs';

const { pairTest, sendFromHost } = pairTests();

const near = (value, wanted, by = 0.005) => assert.ok(Math.abs(value - wanted) <= by, `${value} is not near ${wanted}`);

// Moves as {label, message}, by the channel that they came on.
const movesOf = ({ host }) => host.evaluate(() => globalThis.host.messages.filter(({ message }) => message.type === 'mouseMove'));

async function moveTo({ viewer }, x, y) {
  const point = await pointOnImage(viewer, x, y);
  await viewer.mouse.move(point.x, point.y);
}

// The pointer's position was sent again reliably: no earlier move is still to come.
const rested = (both) => until(async () => (await movesOf(both)).some(({ label }) => label === 'control_reliable'), { what: 'the rest' });

pairTest('a wrong PIN is shown as wrong and the right one gives control', {}, async ({ host, viewer }) => {
  await takeControl(viewer, '111111');
  await hasState(viewer, 'control', 'denied');
  assert.ok(await viewer.isVisible('text=That PIN is not right'));
  assert.equal(await viewer.getAttribute('#pin', 'aria-invalid'), 'true', 'an empty value would mean that it is valid');
  assert.deepEqual(await receivedMessages(host, 'control'), [], 'nothing is asked for without the right PIN');
  await takeControl(viewer, '123456');
  await hasState(viewer, 'control', 'on');
  assert.deepEqual((await receivedMessages(host, 'auth')).map(({ token }) => token), ['111111', '123456']);
  assert.deepEqual((await receivedMessages(host, 'control')).map(({ enable }) => enable), [true]);
  assert.ok(await viewer.isHidden('#pin-card'));
  assert.equal(await viewer.inputValue('#pin'), '', 'the PIN does not stay on the page');
});

pairTest('control is given back and taken again without the PIN', {}, async (both) => {
  await inControl(both);
  await both.viewer.click('#control-button');
  await hasState(both.viewer, 'control', 'off');
  await both.viewer.click('#control-button');
  await hasState(both.viewer, 'control', 'on');
  assert.equal((await receivedMessages(both.host, 'auth')).length, 1);
  assert.deepEqual((await receivedMessages(both.host, 'control')).map(({ enable }) => enable), [true, false, true]);
});

pairTest('a PIN that is known is not asked for while the host checks it again', {}, async ({ host, viewer }) => {
  await inControl({ host, viewer });
  await viewer.click('#commands-button');
  await viewer.waitForSelector('.command');
  await host.evaluate(() => {
    const { host } = globalThis;
    const { controlled } = host;
    host.controlled = function (channel, message) {
      if (message.type === 'auth') host.checked = (ok) => controlled.call(host, channel, ok ? message : { ...message, token: '' });
      else controlled.call(host, channel, message);
    };
  });
  const reconnect = async () => {
    await host.evaluate(() => {
      globalThis.host.checked = null;
      globalThis.host.buildPeer();
      return globalThis.host.offer();
    });
    await until(() => host.evaluate(() => Boolean(globalThis.host.checked)), { what: 'the PIN' });
    assert.equal(await dataset(viewer, 'control'), 'locked');
    assert.ok(await viewer.isHidden('#pin-card'));
    assert.ok(await viewer.isHidden('.command-access .button'));
  };
  await reconnect();
  await host.evaluate(() => globalThis.host.checked(true));
  await hasState(viewer, 'control', 'on');
  assert.ok(await viewer.isHidden('#pin-card'));
  // A host that does not answer does not keep the viewer from asking again.
  await reconnect();
  await viewer.click('#control-button');
  assert.ok(await viewer.isVisible('#pin-card'));
  await reconnect();
  await host.evaluate(() => globalThis.host.checked(false));
  await until(() => viewer.isVisible('#pin-card'), { what: 'the card for another PIN' });
  assert.ok(await viewer.isVisible('.command-access .button'));
});

pairTest('says when the host does not allow control', { options: { allowControl: false } }, async ({ viewer }) => {
  await takeControl(viewer);
  await hasState(viewer, 'control', 'off');
  await until(() => viewer.isVisible('text=does not allow remote control'), { what: 'the notice' });
  // What had the keyboard focus is gone.
  const focused = () => viewer.evaluate(() => document.activeElement.id);
  assert.equal(await focused(), 'control-button');
  await viewer.press('.notice-close', 'Enter');
  assert.equal(await focused(), 'stage');
});

pairTest('follows the host that takes control away', {}, async (both) => {
  await inControl(both);
  await sendFromHost(both, { type: 'control_state', enabled: false });
  await hasState(both.viewer, 'control', 'off');
  await forget(both);
  await moveTo(both, 0.5, 0.5);
  await both.viewer.focus('#stage');
  await both.viewer.keyboard.press('a');
  await settled(both);
  assert.deepEqual(await receivedMessages(both.host, 'mouseMove'), []);
  assert.deepEqual(await receivedMessages(both.host, 'keyDown'), []);
});

pairTest('sends no input before control is granted', {}, async (both) => {
  await moveTo(both, 0.3, 0.3);
  await both.viewer.mouse.down();
  await both.viewer.mouse.up();
  await both.viewer.mouse.wheel(0, 100);
  await both.viewer.focus('#stage');
  await both.viewer.keyboard.press('a');
  await settled(both);
  const kinds = await both.host.evaluate(() => [...new Set(globalThis.host.messages.map(({ message }) => message.type))]);
  assert.deepEqual(kinds.sort(), ['ping', 'quality']);
});

pairTest('the pointer is sent as fractions of the image, bars left out', { firefox: true }, async (both) => {
  await inControl(both);
  await both.viewer.setViewportSize({ width: 1280, height: 500 });
  await moveTo(both, 0.25, 0.75);
  const moves = await untilReceived(both.host, 'mouseMove');
  near(moves.at(-1).x, 0.25);
  near(moves.at(-1).y, 0.75);
  near(moves.at(-1).timestamp, Date.now(), 5000);
  assert.equal((await movesOf(both))[0].label, 'control', 'the first is sent the fast way');
  await rested(both);
  await forget(both);
  await both.viewer.mouse.move(8, 250);
  await moveTo(both, 0.5, 0.5);
  await untilReceived(both.host, 'mouseMove');
  for (const { x } of await receivedMessages(both.host, 'mouseMove')) near(x, 0.5);
});

pairTest('many moves within a frame become one message', {}, async (both) => {
  await inControl(both);
  await moveTo(both, 0.1, 0.1);
  await untilReceived(both.host, 'mouseMove');
  await forget(both);
  const sent = await both.viewer.evaluate(async () => {
    const stage = document.getElementById('stage');
    const box = document.getElementById('screen').getBoundingClientRect();
    let events = 0;
    await new Promise((resolve) => requestAnimationFrame(resolve));
    for (; events < 50; ++events) {
      stage.dispatchEvent(new PointerEvent('pointermove', {
        clientX: box.left + box.width / 2 + events, clientY: box.top + box.height / 2, pointerId: 1,
      }));
    }
    await new Promise((resolve) => requestAnimationFrame(resolve));
    return events;
  });
  assert.equal(sent, 50);
  await untilReceived(both.host, 'mouseMove');
  await settled(both);
  assert.equal((await movesOf(both)).filter(({ label }) => label === 'control').length, 1);
});

pairTest('the place where the pointer rests is sent again, reliably', {}, async (both) => {
  await inControl(both);
  // The fast channel loses everything.
  await both.viewer.evaluate(() => { vantora.channels().control.send = () => {}; });
  await forget(both);
  // Without a pause between them, which on a slow machine would count as a rest.
  await both.viewer.evaluate(() => {
    const stage = document.getElementById('stage');
    const box = document.getElementById('screen').getBoundingClientRect();
    for (let step = 1; step <= 10; ++step) {
      stage.dispatchEvent(new PointerEvent('pointermove', {
        clientX: box.left + (box.width * step) / 20, clientY: box.top + box.height / 4, pointerId: 1,
      }));
    }
  });
  const [rest] = await untilReceived(both.host, 'mouseMove');
  near(rest.x, 0.5);
  near(rest.y, 0.25);
  assert.equal((await movesOf(both))[0].label, 'control_reliable');
});

pairTest('the wheel turns where the pointer is, even when the moves to it were lost', {}, async (both) => {
  await inControl(both);
  await moveTo(both, 0.2, 0.2);
  await rested(both);
  await both.viewer.evaluate(() => { vantora.channels().control.send = () => {}; });
  await forget(both);
  await moveTo(both, 0.7, 0.6);
  await both.viewer.mouse.wheel(0, 50);
  await both.viewer.mouse.wheel(0, 50);
  await until(async () => (await receivedMessages(both.host, 'wheel')).reduce((sum, { dy }) => sum + dy, 0) === 100,
    { what: 'the wheel' });
  const order = await both.host.evaluate(() => globalThis.host.messages.map(({ message }) => message)
    .filter(({ type }) => type === 'mouseMove' || type === 'wheel'));
  assert.equal(order[0].type, 'mouseMove');
  near(order[0].x, 0.7);
  near(order[0].y, 0.6);
  // Once the position was sent reliably, further turns need no further position.
  await until(async () => {
    await forget(both);
    await both.viewer.mouse.wheel(0, 25);
    await untilReceived(both.host, 'wheel');
    await settled(both);
    return (await movesOf(both)).length === 0;
  }, { what: 'a turn without a position' });
});

pairTest('travel of less than a pixel adds up', {}, async (both) => {
  await inControl(both);
  const { x, y } = await pointOnImage(both.viewer, 0.5, 0.5);
  await both.viewer.evaluate(async ([clientX, clientY]) => {
    const stage = document.getElementById('stage');
    for (let i = 0; i < 10; ++i) {
      stage.dispatchEvent(new WheelEvent('wheel', { clientX, clientY, deltaX: 0.25, deltaY: -0.5, cancelable: true }));
      await new Promise((resolve) => requestAnimationFrame(resolve));
    }
    await new Promise((resolve) => requestAnimationFrame(resolve));
  }, [x, y]);
  await settled(both);
  const sent = await receivedMessages(both.host, 'wheel');
  for (const { dx, dy } of sent) assert.ok(Number.isInteger(dx) && Number.isInteger(dy) && (dx || dy), `${dx}, ${dy}`);
  assert.deepEqual(sent.reduce((all, { dx, dy }) => [all[0] + dx, all[1] + dy], [0, 0]), [2, -5]);
});

pairTest('every button goes down and up where the pointer is', {}, async (both) => {
  await inControl(both);
  await forget(both);
  await moveTo(both, 0.4, 0.6);
  for (const button of ['left', 'middle', 'right']) {
    await both.viewer.mouse.down({ button });
    await both.viewer.mouse.up({ button });
  }
  const ups = await untilReceived(both.host, 'mouseUp', 3);
  const downs = await receivedMessages(both.host, 'mouseDown');
  assert.deepEqual(downs.map(({ button }) => button), [0, 1, 2]);
  assert.deepEqual(ups.map(({ button }) => button), [0, 1, 2]);
  for (const { x, y } of [...downs, ...ups]) {
    near(x, 0.4);
    near(y, 0.6);
  }
});

pairTest('two buttons held together are distinguished', { firefox: true }, async (both) => {
  await inControl(both);
  await forget(both);
  await moveTo(both, 0.5, 0.5);
  await both.viewer.mouse.down({ button: 'left' });
  await both.viewer.mouse.down({ button: 'right' });
  await both.viewer.mouse.up({ button: 'left' });
  await both.viewer.mouse.up({ button: 'right' });
  await untilReceived(both.host, 'mouseUp', 2);
  const seen = await both.host.evaluate(() => globalThis.host.messages.map(({ message }) => message)
    .filter(({ type }) => type === 'mouseDown' || type === 'mouseUp').map(({ type, button }) => `${type} ${button}`));
  assert.deepEqual(seen, ['mouseDown 0', 'mouseDown 2', 'mouseUp 0', 'mouseUp 2']);
});

pairTest('buttons that the host does not know are not sent', {}, async (both) => {
  await inControl(both);
  await forget(both);
  await both.viewer.evaluate(() => {
    const box = document.getElementById('screen').getBoundingClientRect();
    const at = { clientX: box.left + box.width / 2, clientY: box.top + box.height / 2, pointerId: 1, bubbles: true };
    const stage = document.getElementById('stage');
    stage.setPointerCapture = () => {};
    stage.dispatchEvent(new PointerEvent('pointerdown', { ...at, button: 3, buttons: 8 }));
    stage.dispatchEvent(new PointerEvent('pointerup', { ...at, button: 3, buttons: 0 }));
  });
  await settled(both);
  assert.deepEqual(await receivedMessages(both.host, 'mouseDown'), []);
  assert.deepEqual(await receivedMessages(both.host, 'mouseUp'), []);
});

pairTest('a drag that leaves the screen is held to its edge and ends outside', {}, async (both) => {
  await inControl(both);
  await forget(both);
  await moveTo(both, 0.5, 0.5);
  await both.viewer.mouse.down();
  await both.viewer.mouse.move(640, 5);
  await both.viewer.mouse.up();
  const [up] = await untilReceived(both.host, 'mouseUp');
  assert.equal(up.y, 0);
});

pairTest('a press beside the image is no press on the host', {}, async (both) => {
  await inControl(both);
  await both.viewer.setViewportSize({ width: 1280, height: 500 });
  await forget(both);
  await both.viewer.mouse.move(8, 250);
  await both.viewer.mouse.down();
  await both.viewer.mouse.up();
  await settled(both);
  assert.deepEqual(await receivedMessages(both.host, 'mouseDown'), []);
  assert.deepEqual(await receivedMessages(both.host, 'mouseUp'), []);
});

pairTest('the wheel is sent in pixels', { firefox: true }, async (both) => {
  await inControl(both);
  await moveTo(both, 0.5, 0.5);
  await both.viewer.mouse.wheel(30, 120);
  await untilReceived(both.host, 'wheel');
  await settled(both);
  const sum = (await receivedMessages(both.host, 'wheel')).reduce((all, { dx, dy }) => [all[0] + dx, all[1] + dy], [0, 0]);
  assert.deepEqual(sum, [30, 120]);
});

pairTest('the context menu stays away while in control', {}, async (both) => {
  const menu = () => both.viewer.evaluate(() => document.getElementById('stage').dispatchEvent(
    new MouseEvent('contextmenu', { bubbles: true, cancelable: true })));
  assert.equal(await menu(), true, 'before control the menu is the browser\'s own');
  await inControl(both);
  assert.equal(await menu(), false);
});

pairTest('everything held is released when the page loses the focus', { firefox: true }, async (both) => {
  await inControl(both);
  await forget(both);
  await moveTo(both, 0.5, 0.5);
  await both.viewer.mouse.down();
  await both.viewer.keyboard.down('KeyW');
  await both.viewer.keyboard.down('KeyD');
  await untilReceived(both.host, 'keyDown', 2);
  await both.viewer.evaluate(() => window.dispatchEvent(new Event('blur')));
  const ups = await untilReceived(both.host, 'keyUp', 2);
  assert.deepEqual(ups.map(({ code }) => code).sort(), ['KeyD', 'KeyW']);
  assert.equal((await untilReceived(both.host, 'mouseUp')).length, 1);
  await both.viewer.keyboard.up('KeyW');
  await both.viewer.mouse.up();
  await settled(both);
  assert.equal((await receivedMessages(both.host, 'keyUp')).length, 2, 'nothing is released twice');
  assert.equal((await receivedMessages(both.host, 'mouseUp')).length, 1);
});

pairTest('held keys are released before control is given back', {}, async (both) => {
  await inControl(both);
  await forget(both);
  await both.viewer.keyboard.down('KeyW');
  await both.viewer.evaluate(() => document.getElementById('control-button').click());
  await hasState(both.viewer, 'control', 'off');
  const kinds = await both.host.evaluate(() => globalThis.host.messages.map(({ message }) => message.type));
  assert.ok(kinds.indexOf('keyUp') >= 0 && kinds.indexOf('keyUp') < kinds.indexOf('control'));
});

pairTest('F6 leaves the screen, and typing elsewhere is not sent', {}, async (both) => {
  await inControl(both);
  await forget(both);
  await both.viewer.keyboard.press('F6');
  assert.equal(await both.viewer.evaluate(() => document.activeElement.id), 'control-button');
  await both.viewer.click('#chat-button');
  await until(() => both.viewer.evaluate(() => document.activeElement.id === 'chat-input'), { what: 'the panel' });
  await both.viewer.keyboard.type('hello');
  await settled(both);
  assert.deepEqual(await receivedMessages(both.host, 'keyDown'), []);
  assert.equal(await both.viewer.inputValue('#chat-input'), 'hello');
});

pairTest('a demo room asks for no PIN', {}, async (both) => {
  await sendFromHost(both, { type: 'host_stats', room: 'demo', demo: true });
  await until(() => both.viewer.isVisible('text=any PIN will do'), { what: 'the hint' });
  await takeControl(both.viewer, '');
  assert.deepEqual(await untilReceived(both.host, 'auth'), [{ type: 'auth', token: '' }]);
});

pairTest('an empty PIN is not sent to a host that wants one', {}, async (both) => {
  await takeControl(both.viewer, '');
  await settled(both);
  assert.deepEqual(await receivedMessages(both.host, 'auth'), []);
  assert.equal(await dataset(both.viewer, 'control'), 'locked');
});

