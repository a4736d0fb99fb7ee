// What keeps two clipboards in step, without a browser.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { InputGate } from '../../../companion/viewer/control/gate.js';
import { Agreement } from '../../../companion/viewer/tools/clipboard/agreement.js';
import { ClipboardSync, isPasteKey } from '../../../companion/viewer/tools/clipboard/sync.js';
import { countText, tooLargeText } from '../../../companion/viewer/tools/clipboard/words.js';

const turn = () => new Promise((resolve) => setImmediate(resolve));

function gateWithLog() {
  const sent = [];
  const gate = new InputGate((message) => sent.push(message.name ?? message.type));
  const send = (...names) => names.forEach((name) => gate.send({ type: 'keyDown', name }));
  return { gate, sent, send };
}

test('input is held until the text is there, and keeps its order', async (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const { gate, sent, send } = gateWithLog();
  send('before');
  let end;
  gate.hold(() => new Promise((resolve) => (end = resolve)));
  send('paste');
  for (let i = 0; i < 5; i++) gate.send({ type: 'mouseMove' });
  send('after');
  assert.deepEqual(sent, ['before']);
  end(true);
  await turn();
  assert.deepEqual(sent, ['before', 'paste'], 'the program gets some time to ask for the text');
  send('later');
  // Another paste meanwhile waits for its own text.
  let endOther;
  gate.hold(() => new Promise((resolve) => (endOther = resolve)));
  send('other paste', 'last');
  t.mock.timers.tick(50);
  await turn();
  assert.deepEqual(sent, ['before', 'paste', 'mouseMove', 'after', 'later']);
  endOther(true);
  await turn();
  t.mock.timers.tick(50);
  await turn();
  assert.deepEqual(sent.slice(5), ['other paste', 'last']);
  send('free');
  assert.equal(sent.at(-1), 'free');
});

test('a paste that failed is left out, and the rest is not lost', async (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  for (const prepare of [async () => false, () => Promise.reject(new Error('broken'))]) {
    const { gate, sent, send } = gateWithLog();
    gate.hold(prepare);
    send('paste', 'after');
    await turn();
    t.mock.timers.tick(50);
    await turn();
    assert.deepEqual(sent, ['after']);
  }
});

test('every paste of a text waits until the host has it', async (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const window = new EventTarget();
  Object.assign(globalThis, { window, document: { hasFocus: () => true }, navigator: {} });
  t.after(() => ['window', 'document', 'navigator'].forEach((name) => delete globalThis[name]));
  const { gate, sent, send } = gateWithLog();
  let taken;
  const app = {
    ready: true,
    on() {},
    settings: { get: (name, fallback) => fallback, set() {} },
    notices: { show() {}, remove() {} },
    clipboard: { watch() {}, set: () => new Promise((resolve) => (taken = resolve)), settled: async () => {} },
  };
  const sync = new ClipboardSync(app, new EventTarget(), gate);
  sync.set(true);
  const paste = async (name) => {
    assert.ok(sync.startPaste({ key: 'v', ctrlKey: true }));
    send(name);
    const event = new Event('paste', { cancelable: true });
    event.clipboardData = { types: ['text/plain'], getData: () => 'a long text' };
    window.dispatchEvent(event);
    await turn();
  };
  await paste('first');
  // It takes too long: the viewer is told to try again.
  t.mock.timers.tick(5000);
  await turn();
  t.mock.timers.tick(50);
  await turn();
  await paste('second');
  assert.deepEqual(sent, []);
  taken('set');
  await turn();
  assert.deepEqual(sent, ['second']);
  t.mock.timers.tick(50);
  await turn();
  await paste('third');
  assert.deepEqual(sent, ['second', 'third'], 'the host has it already');
});

test('holds back a bounded number of messages', () => {
  const { gate, sent, send } = gateWithLog();
  gate.hold(() => new Promise(() => {}));
  for (let i = 0; i < 1000; i++) send(i);
  assert.deepEqual(sent, Array.from({ length: 1000 }, (_, i) => i));
  send('free');
  assert.equal(sent.at(-1), 'free');
});

test('the newer text wins', () => {
  const texts = new Agreement();
  assert.ok(texts.fromViewer('mine'));
  assert.ok(!texts.fromViewer('mine'), 'the host has it');
  assert.ok(!texts.fromHost('mine'), 'it comes back');
  assert.ok(texts.fromHost('theirs'));
  assert.ok(!texts.fromViewer('mine'), 'it is older than the one of the host');
  assert.ok(texts.fromHost('theirs'), 'it was not written yet');
  texts.written('theirs');
  assert.ok(!texts.fromViewer('theirs'));
  assert.ok(texts.fromViewer('mine'), 'copied again');
  assert.ok(!texts.fromHost(''), 'no text clears nothing');
  assert.ok(!texts.fromViewer(''));
  texts.forget();
  assert.ok(texts.fromViewer('mine'));
});

test('knows the key that pastes, by its character', () => {
  const key = (more) => ({ key: 'v', ctrlKey: true, metaKey: false, altKey: false, repeat: false, ...more });
  assert.ok(isPasteKey(key()));
  assert.ok(isPasteKey(key({ key: 'V' })));
  assert.ok(isPasteKey(key({ ctrlKey: false, metaKey: true })));
  for (const more of [{ ctrlKey: false }, { altKey: true }, { repeat: true }, { key: 'k' }]) assert.ok(!isPasteKey(key(more)));
});

test('speaks of lengths, also of those that make no sense', () => {
  assert.deepEqual([0, 1, 999, 1000, 3440, 999_950, 20_000_000, -5, NaN, 'x', undefined].map(countText),
    ['0 bytes', '1 byte', '999 bytes', '1.0 kB', '3.4 kB', '1.0 MB', '20.0 MB', '0 bytes', '0 bytes', '0 bytes', '0 bytes']);
  assert.match(tooLargeText({ length: 20e6, limit: 10_485_760 }), /20.0 MB, at most 10.5 MB/);
});
