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

// A ClipboardSync that is switched on; `own.text` is on the viewer's clipboard, which the page may read with
// `own.readable`; app.theirs on the host's.
function syncWith(t, own = {}) {
  const window = new EventTarget();
  const clipboard = { readText: async () => own.text, writeText: async (text) => (own.text = text) };
  const navigator = own.readable ? { clipboard, permissions: { query: async () => ({ state: 'granted' }) } } : {};
  Object.assign(globalThis, { window, document: { hasFocus: () => true }, navigator });
  t.after(() => ['window', 'document', 'navigator'].forEach((name) => delete globalThis[name]));
  const { gate, sent, send } = gateWithLog();
  const listeners = {};
  const app = {
    ready: true,
    theirs: '',
    set: [],
    on: (name, listener) => (listeners[name] = listener),
    emit: (name, value) => listeners[name](value),
    settings: { get: (name, fallback) => fallback, set() {} },
    notices: { show() {}, remove() {} },
    clipboard: {
      watch() {},
      set: async (text) => {
        app.set.push(text);
        app.theirs = text;
        return 'set';
      },
      settled: async () => {
        listeners.clipboard({ text: app.theirs });
        return app.theirs;
      },
    },
  };
  const sync = new ClipboardSync(app, new EventTarget(), gate);
  const paste = async (name, text = own.text) => {
    assert.ok(sync.startPaste({ key: 'v', ctrlKey: true }));
    send(name);
    const event = new Event('paste', { cancelable: true });
    event.clipboardData = { types: ['text/plain'], getData: () => text };
    window.dispatchEvent(event);
    await turn();
  };
  const look = async () => {
    window.dispatchEvent(new Event('focus'));
    await turn();
  };
  const reconnect = async () => {
    app.emit('reliable', false);
    app.emit('reliable', true);
    await turn();
  };
  return { app, sync, sent, paste, look, reconnect };
}

test('every paste of a text waits until the host has it', async (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const { app, sync, sent, paste } = syncWith(t, { text: 'a long text' });
  let taken;
  app.clipboard.set = () => new Promise((resolve) => (taken = resolve));
  sync.set(true);
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

test('a new connection does not put the viewer\'s old text over what was copied on the host meanwhile', async (t) => {
  const own = { text: 'old', readable: true };
  const { app, sync, look, reconnect } = syncWith(t, own);
  sync.set(true);
  await turn();
  assert.deepEqual(app.set.splice(0), ['old'], 'the viewer has just chosen that');
  app.theirs = 'copied on the host';
  await reconnect();
  await look();
  assert.deepEqual(app.set, []);
  own.text = 'copied by the viewer';
  await look();
  assert.deepEqual(app.set.splice(0), ['copied by the viewer']);
  // Copied while there was no connection.
  app.ready = false;
  app.emit('reliable', false);
  own.text = 'meanwhile';
  await look();
  app.ready = true;
  app.emit('reliable', true);
  await turn();
  assert.deepEqual(app.set, ['meanwhile']);
});

test('on a page that begins in step, the viewer\'s text goes by pasting or as a new copy', async (t) => {
  const own = { text: 'from before', readable: true };
  const { app, sync, sent, paste, look, reconnect } = syncWith(t, own);
  app.ready = false;
  sync.set(true);
  app.ready = true;
  await reconnect();
  await look();
  assert.deepEqual(app.set, []);
  await paste('key');
  assert.deepEqual([app.set, sent], [['from before'], ['key']]);
});

test('a paste after a new connection pastes the newer text', async (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  for (const [theirs, set, mine] of [['old', [], 'old'], ['newer', [], 'newer'], ['', ['old'], 'old'], [null, [], 'old']]) {
    const own = { text: 'old', readable: true };
    const { app, sync, sent, paste, reconnect } = syncWith(t, own);
    sync.set(true);
    await turn();
    app.set.length = 0;
    app.theirs = theirs;
    // A text that is too long to be asked for.
    if (theirs === null) app.clipboard.settled = async () => null;
    await reconnect();
    await paste('key');
    assert.deepEqual([app.set, sent, own.text], [set, ['key'], mine], String(theirs));
  }
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
  texts.undelivered('mine');
  assert.ok(texts.fromViewer('mine'), 'again');
  assert.ok(texts.fromViewer('newer'));
  texts.undelivered('mine');
  assert.ok(!texts.fromViewer('newer'), 'that one is on its way');
  assert.ok(texts.fromHost('the newest'));
  assert.ok(!texts.fromViewer('newer'));
});

test('a text that comes back with the line ends of Windows is the same', () => {
  const texts = new Agreement();
  texts.fromHost('two\nlines');
  texts.written('two\nlines');
  assert.ok(!texts.seen('two\r\nlines'), 'nobody has copied it');
  texts.lose();
  assert.ok(!texts.seen('two\r\nlines'), 'it is not newer than what was copied on the host meanwhile');
  assert.ok(texts.isUnsure('two\r\nlines'));
  assert.ok(texts.seen('three\r\n'));
  assert.ok(!texts.fromHost('three\n'));
});

test('a text that the viewer had before is put on the host by pasting it alone', () => {
  const texts = new Agreement();
  assert.ok(!texts.seen('from before'));
  assert.ok(!texts.seen('from before'));
  assert.ok(!texts.isUnsure('from before'));
  assert.ok(texts.seen('copied'));
  assert.ok(!texts.seen(''), 'an image');
  assert.ok(texts.seen('again'));
  texts.lose();
  assert.ok(!texts.seen('again'), 'it may be older than what was copied on the host meanwhile');
  assert.ok(!texts.fromViewer('again'));
  assert.ok(texts.isUnsure('again'));
  assert.ok(texts.seen('newer'));
  assert.ok(!texts.isUnsure('newer'));
  const empty = new Agreement();
  assert.ok(!empty.seen(''));
  assert.ok(empty.seen('the first copy'));
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
