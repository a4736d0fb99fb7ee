// The page's access to the host's clipboard: pieces in both directions, without a browser.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { HostClipboard, MAX_TEXT_BYTES, TextAssembler, pieceEnds, utf8Length } from '../../../companion/viewer/tools/clipboard/clipboard.js';

const LIMIT = 1000;
const AWKWARD = 'abc\n"\\🙂ü表\u0001\ud83d'.repeat(400);

// A data channel that keeps what is sent; `full` simulates a network that accepts nothing.
class Channel extends EventTarget {
  readyState = 'open';
  full = false;
  bufferedAmount = 0;
  sent = [];
  send(text) {
    this.sent.push(text);
    if (this.full) this.bufferedAmount += text.length;
  }
  drain() {
    this.full = false;
    this.bufferedAmount = 0;
    this.dispatchEvent(new Event('bufferedamountlow'));
  }
  close() {
    this.readyState = 'closed';
    this.dispatchEvent(new Event('close'));
  }
  messages() {
    return this.sent.map((text) => JSON.parse(text));
  }
}

function pair() {
  const channel = new Channel();
  const results = [];
  const clipboard = new HostClipboard(
    { channel: () => (channel.readyState === 'open' ? channel : null), limit: () => LIMIT },
    { text: (text) => results.push(text), tooLarge: (size) => results.push(size) },
  );
  return { channel, clipboard, results };
}

const settled = () => new Promise((resolve) => setImmediate(resolve));

// The host's pieces of a text.
function piecesOf(text, maximum, id = 1) {
  const ends = pieceEnds(text, maximum);
  return ends.map((end, part) => ({ type: 'clipboard_sync', id, part, parts: ends.length, length: utf8Length(text),
    text: text.slice(ends[part - 1] ?? 0, end) }));
}

test('counts bytes and cuts between characters', () => {
  assert.equal(utf8Length(AWKWARD), new TextEncoder().encode(AWKWARD).length);
  const ends = pieceEnds(AWKWARD, 100);
  assert.equal(ends.at(-1), AWKWARD.length);
  ends.forEach((end, part) => {
    const piece = AWKWARD.slice(ends[part - 1] ?? 0, end);
    assert.ok(Buffer.byteLength(JSON.stringify(piece)) <= 102);
    assert.ok(part === 0 || !(/[\ud800-\udbff]$/.test(AWKWARD.slice(0, ends[part - 1])) && /^[\udc00-\udfff]/.test(piece)));
  });
  assert.deepEqual(pieceEnds('', 5), []);
  assert.deepEqual(pieceEnds('a🙂b', 1), [1, 3, 4]);
});

test('puts a text together, and takes whatever does not continue it for its end', () => {
  const assembler = new TextAssembler();
  const all = (pieces) => pieces.map((piece) => assembler.take(piece)).at(-1);
  const pieces = piecesOf('Grüße 🙂', 4);
  assert.equal(pieces.length, 3);
  assert.equal(all(pieces), 'Grüße 🙂');
  assert.equal(all(pieces.slice(1)), null);
  assert.equal(all([...pieces.slice(0, 2), ...pieces.slice(1)]), null, 'repeated');
  assert.equal(all([pieces[0], ...pieces.slice(2)]), null, 'left out');
  assert.equal(all([pieces[0], ...piecesOf('Grüße 🙂', 4, 2)]), 'Grüße 🙂', 'replaced');
  const wrong = [{ length: 5 }, { parts: 5 }, { text: '' }, { text: 'longer than was announced' }, { text: 7 }, { part: 1.5 }];
  for (const change of wrong) {
    assert.equal(all([pieces[0], { ...pieces[1], ...change }, ...pieces.slice(2)]), null, JSON.stringify(change));
  }
  for (const change of [{ length: MAX_TEXT_BYTES + 1 }, { length: 0 }, { parts: 0 }, { parts: 11, length: 10 }]) {
    assert.equal(all(pieces.map((piece) => ({ ...piece, ...change }))), null, JSON.stringify(change));
  }
});

test('asks for pieces and hands on whole texts, pieces and refusals', () => {
  const { channel, clipboard, results } = pair();
  assert.equal(clipboard.request(), true);
  clipboard.watch(true);
  assert.deepEqual(channel.messages(), [{ type: 'clipboard_request', parts: true },
    { type: 'clipboard_sync_enabled', enabled: true, parts: true }]);
  clipboard.receive({ type: 'clipboard_sync', text: 'short' });
  for (const piece of piecesOf(AWKWARD, 300)) clipboard.receive(piece);
  clipboard.receive({ type: 'clipboard_too_large', length: 20_000_000, limit: MAX_TEXT_BYTES });
  assert.deepEqual(results, ['short', AWKWARD, { length: 20_000_000, limit: MAX_TEXT_BYTES }]);
});

test('forgets an unfinished text when a newer one comes or the connection ends', () => {
  for (const end of [{ type: 'clipboard_sync', text: 'newer' }, { type: 'clipboard_too_large', length: 2, limit: 1 }, null]) {
    const { clipboard, results } = pair();
    const pieces = piecesOf(AWKWARD, 300);
    clipboard.receive(pieces[0]);
    if (end) clipboard.receive(end);
    else clipboard.setReady(false);
    for (const piece of pieces.slice(1)) clipboard.receive(piece);
    assert.equal(results.includes(AWKWARD), false);
  }
});

test('watches again on the next connection', () => {
  const { channel, clipboard } = pair();
  clipboard.setReady(true);
  assert.deepEqual(channel.sent, []);
  clipboard.watch(true);
  clipboard.setReady(false);
  clipboard.setReady(true);
  assert.equal(channel.sent.length, 2);
  clipboard.watch(false);
  clipboard.setReady(true);
  assert.equal(channel.sent.length, 3);
});

test('sets a short text with one message and a long one with many', async () => {
  const { channel, clipboard } = pair();
  const short = clipboard.set('short');
  const [{ req, ...message }] = channel.messages();
  assert.deepEqual(message, { type: 'clipboard_set', text: 'short' });
  clipboard.receive({ type: 'ack', req: 'of something else' });
  clipboard.receive({ type: 'ack', req });
  assert.equal(await short, 'set');

  channel.sent = [];
  const long = clipboard.set(AWKWARD);
  await settled();
  const pieces = channel.messages();
  assert.ok(channel.sent.every((text) => Buffer.byteLength(text) <= LIMIT));
  assert.equal(pieces.map(({ text }) => text).join(''), AWKWARD);
  assert.deepEqual(pieces.map(({ part }) => part), pieces.map((_, index) => index));
  assert.deepEqual(pieces.filter((piece) => 'req' in piece), [pieces.at(-1)]);
  assert.ok(pieces.every(({ length, parts }) => length === utf8Length(AWKWARD) && parts === pieces.length));
  clipboard.receive({ type: 'ack', req: pieces.at(-1).req });
  assert.equal(await long, 'set');
});

test('waits until the channel has room, and no longer than it lives', async () => {
  const text = 'x'.repeat(2_000_000);
  const { channel, clipboard } = pair();
  channel.full = true;
  clipboard.set(text);
  await settled();
  const before = channel.sent.length;
  assert.ok(channel.bufferedAmount > 0 && channel.bufferedAmount < 300_000);
  channel.drain();
  await settled();
  assert.ok(channel.sent.length > before);
  assert.equal(channel.messages().at(-1).part, channel.messages().at(-1).parts - 1);

  channel.full = true;
  channel.sent = [];
  const closed = clipboard.set(text);
  await settled();
  channel.close();
  clipboard.setReady(false);
  assert.equal(await closed, 'closed');
  const sent = channel.sent.length;
  await settled();
  assert.equal(channel.sent.length, sent);
  assert.equal(await clipboard.set('later'), 'closed');
});

test('sends a newer text in place of an unfinished one', async () => {
  const { channel, clipboard } = pair();
  channel.full = true;
  const older = clipboard.set('x'.repeat(2_000_000));
  await settled();
  const newer = clipboard.set('newer');
  assert.equal(await older, 'replaced');
  const sent = channel.sent.length;
  channel.drain();
  await settled();
  assert.equal(channel.sent.length, sent);
  clipboard.receive({ type: 'ack', req: channel.messages().at(-1).req });
  assert.equal(await newer, 'set');
});

test('knows what the host would refuse, and accepts the refusal of one that takes less', async () => {
  const { channel, clipboard, results } = pair();
  assert.equal(await clipboard.set('x'.repeat(MAX_TEXT_BYTES + 1)), 'too-large');
  assert.deepEqual(channel.sent, []);
  const outcome = clipboard.set(AWKWARD);
  clipboard.receive({ type: 'clipboard_too_large', id: channel.messages()[0].id, length: 9, limit: 1 });
  assert.equal(await outcome, 'too-large');
  assert.deepEqual(results, []);
});

test('does not wait for ever for a host that acknowledges nothing', async (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const { channel, clipboard } = pair();
  const outcomes = [];
  const set = (text) => clipboard.set(text).then((outcome) => outcomes.push(outcome));
  set('short');
  t.mock.timers.tick(59999);
  await settled();
  assert.deepEqual(outcomes, []);
  t.mock.timers.tick(1);
  await settled();
  assert.deepEqual(outcomes.splice(0), ['silent']);
  // A long one on a slow link takes its time.
  channel.full = true;
  set('x'.repeat(2_000_000));
  await settled();
  t.mock.timers.tick(50000);
  channel.drain();
  await settled();
  t.mock.timers.tick(50000);
  await settled();
  assert.deepEqual(outcomes, []);
  clipboard.receive({ type: 'ack', req: channel.messages().at(-1).req });
  t.mock.timers.tick(60000);
  await settled();
  assert.deepEqual(outcomes, ['set']);
});

test('tells how much of a long text has come and gone', async () => {
  const { channel, clipboard } = pair();
  const sent = [];
  const outcome = clipboard.set(AWKWARD, (share) => sent.push(share));
  await settled();
  assert.deepEqual(sent, [...sent].sort((a, b) => a - b));
  assert.equal(sent.at(-1), 1);
  clipboard.receive({ type: 'ack', req: channel.messages().at(-1).req });
  assert.equal(await outcome, 'set');

  const received = [];
  const watching = new HostClipboard({ channel: () => channel, limit: () => LIMIT },
    { text: () => {}, tooLarge: () => {}, progress: (share) => received.push(share) });
  const pieces = piecesOf(AWKWARD, 300);
  for (const piece of pieces) watching.receive(piece);
  assert.equal(received.length, pieces.length);
  assert.ok(received[0] > 0 && received[0] < 0.2);
  assert.equal(received.at(-1), 1);
});

test('says that the rest of a long text will not come', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const told = [];
  const texts = [];
  const clipboard = new HostClipboard({ channel: () => null, limit: () => LIMIT },
    { text: (text) => texts.push(text), tooLarge: () => {}, progress: (share) => told.push(share) });
  const receive = (...pieces) => pieces.forEach((piece) => clipboard.receive(piece));
  const [first, second, ...rest] = piecesOf(AWKWARD, 300);
  // Left alone, with all that ends the wait.
  receive(first);
  t.mock.timers.tick(14000);
  receive(second);
  t.mock.timers.tick(14000);
  assert.equal(told.includes(null), false);
  t.mock.timers.tick(1000);
  assert.deepEqual(told.splice(0).slice(2), [null]);
  receive(...rest);
  assert.deepEqual(told, [], 'nothing is under way');
  // A piece that does not fit.
  receive(first, rest[0]);
  assert.deepEqual(told.splice(0).slice(1), [null]);
  // Another text in its place.
  receive(first, ...piecesOf(AWKWARD, 300, 2));
  assert.equal(told.at(-1), 1);
  assert.equal(told.includes(null), false);
  for (const end of [{ type: 'clipboard_sync', text: 'newer' }, { type: 'clipboard_too_large', length: 2, limit: 1 }]) receive(first, end);
  receive(first);
  clipboard.setReady(false);
  t.mock.timers.tick(60000);
  assert.equal(told.includes(null), false);
  assert.deepEqual(texts, [AWKWARD, 'newer']);
});

test('knows when the desktop of the host has a text', async (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  for (const end of [
    ({ clipboard }) => clipboard.receive({ type: 'clipboard_sync', text: 'short' }),
    ({ clipboard }) => clipboard.receive({ type: 'clipboard_too_large', length: 5000, limit: LIMIT }),
    ({ clipboard }) => clipboard.setReady(false),
    () => t.mock.timers.tick(2001),
  ]) {
    const both = pair();
    let done = false;
    const waiting = both.clipboard.settled().finally(() => (done = true));
    assert.deepEqual(both.channel.messages(), [{ type: 'clipboard_request' }], 'a long text is not to be sent back');
    both.clipboard.receive({ type: 'clipboard_too_large', length: 2 * MAX_TEXT_BYTES, limit: MAX_TEXT_BYTES });
    await settled();
    assert.ok(!done, 'that was another copy');
    end(both);
    assert.equal(await waiting, both.results.includes('short') ? 'short' : null);
    assert.ok(both.results.every((result) => result === 'short' || result.limit === MAX_TEXT_BYTES), JSON.stringify(both.results));
  }
  const closed = pair();
  closed.channel.close();
  await closed.clipboard.settled();
});
