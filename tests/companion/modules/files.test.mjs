// Files on their way to the host: pace, transfer and queue, without a browser.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { droppedFiles } from '../../../companion/viewer/tools/files/drop.js';
import { RateMeter, SendPace } from '../../../companion/viewer/tools/files/pace.js';
import { FileQueue, MAX_WAITING } from '../../../companion/viewer/tools/files/queue.js';

import { durationText, entryText, failureText, refusalText, sizeText } from '../../../companion/viewer/tools/files/words.js';

// A link of `rate` bytes a millisecond with `delay` ms each way, which loses nothing and keeps what waits in a queue.
// Returns the bytes delivered in `ms` and the delays of the pings after the first second.
function simulate(pace, { rate, delay, ms, stalls = () => false }) {
  let waiting = [];
  let underWay = [];
  let sent = 0;
  let delivered = 0;
  let backlog = 0;
  const delays = [];
  const mark = (now) => {
    if (!pace.markDue(now)) return;
    pace.mark(now, now);
    waiting.push({ end: sent, mark: now });
  };
  for (let now = 0; now < ms; now++) {
    mark(now);
    while (pace.hasRoom && pace.wait(now) === 0) {
      const length = pace.piece;
      sent += length;
      pace.sent(length);
      waiting.push({ end: sent, mark: null });
      mark(now);
    }
    if (!stalls(now)) backlog = Math.min(sent, backlog + rate);
    if (backlog > delivered) delivered = backlog;
    while (waiting.length > 0 && waiting[0].end <= delivered) {
      const { mark } = waiting.shift();
      if (mark !== null) underWay.push({ mark, at: now + 2 * delay });
    }
    for (const { mark, at } of underWay) {
      if (at !== now) continue;
      pace.answered(mark, now);
      if (now > 1000) delays.push(now - mark);
    }
    underWay = underWay.filter(({ at }) => at > now);
  }
  return { delivered, delays: delays.sort((a, b) => a - b) };
}

test('uses the whole link and keeps the delay for what follows short', () => {
  for (const [rate, delay] of [[125, 10], [1250, 2], [1250, 100], [6250, 5], [12_500, 1]]) {
    const { delivered, delays } = simulate(new SendPace(0), { rate, delay, ms: 5000 });
    const name = `${rate} bytes/ms, ${delay} ms`;
    assert.ok(delivered > 0.85 * rate * 5000, `${name}: ${delivered / rate / 50} %`);
    assert.ok(delays.at(-1) <= 2.5 * delay + 135, `${name}: ${delays.at(-1)} ms`);
  }
});

test('does not take a busy computer for a slow link', () => {
  const stalls = (now) => now % 200 < 100;
  const { delivered } = simulate(new SendPace(0), { rate: 12_500, delay: 2, ms: 5000, stalls });
  assert.ok(delivered > 0.85 * 12_500 * 2500, `${delivered}`);
});

test('keeps to a limit', () => {
  const { delivered } = simulate(new SendPace(0, { limit: 500_000 }), { rate: 12_500, delay: 2, ms: 4000 });
  assert.ok(delivered > 1_900_000 && delivered < 2_100_000, `${delivered}`);
});

test('measures a rate over the last seconds', () => {
  const meter = new RateMeter();
  assert.equal(meter.rate, null);
  for (let now = 0; now <= 10_000; now += 250) meter.add(now < 5000 ? now * 100 : 500_000 + (now - 5000) * 10, now);
  assert.equal(Math.round(meter.rate), 10_000);
});

const settled = () => new Promise((resolve) => setTimeout(resolve, 5));

// A channel to a host that receives files as the real one does, and that answers at once. `host`: what it does else.
class HostChannel extends EventTarget {
  readyState = 'open';
  bufferedAmount = 0;
  files = [];
  open = new Map();
  constructor(app, host) {
    super();
    Object.assign(this, { app, host });
  }
  send(data) {
    if (typeof data !== 'string') {
      const [id] = [...this.open.keys()].sort();
      assert.ok(data.length <= 65536);
      this.open.get(id).content.push(...data);
      return;
    }
    const message = JSON.parse(data);
    if (message.type === 'ping') return this.reply({ type: 'pong', t0: message.t0 });
    this.files.push(message);
    const { id, name } = message;
    const reason = this.host.reject?.(message);
    if (reason) return this.reply({ type: 'file_rejected', id, name, reason });
    if (this.host.silent?.(message)) return;
    if (message.type === 'file_start') {
      this.open.set(id, { name, content: [] });
      this.reply({ type: 'file_ready', id });
    } else {
      const file = this.open.get(id);
      this.open.delete(id);
      this.stored.push(file);
      this.reply({ type: 'file_saved', id, name: file.name, size: Math.min(file.content.length, this.host.disk ?? Infinity) });
    }
  }
  stored = [];
  reply(message) {
    setTimeout(() => this.app.emit('message', message), 0);
  }
}

// A queue with its host: `reconnect()` makes another channel.
function queueWith(host = {}) {
  const listeners = {};
  const app = {
    on: (name, listener) => (listeners[name] = listener),
    emit: (name, value) => listeners[name]?.(value),
    channel: () => (app.current?.readyState === 'open' ? app.current : null),
  };
  const connect = () => {
    app.current = new HostChannel(app, host);
    app.emit('reliable', true);
    return app.current;
  };
  const disconnect = () => {
    app.current.readyState = 'closed';
    app.emit('reliable', false);
  };
  const queue = new FileQueue(app);
  return { queue, connect, disconnect, app };
}

async function finished(queue) {
  const deadline = Date.now() + 5000;
  while (queue.active.length > 0) {
    assert.ok(Date.now() < deadline, JSON.stringify(queue.entries.map(({ state }) => state)));
    await settled();
  }
  return queue.entries.map(({ state }) => state);
}

const bytes = (length, seed = 1) => Uint8Array.from({ length }, (_, at) => (at * 31 + seed) & 0xff);
const file = (name, length, seed) => new File([bytes(length, seed)], name);

test('sends files in their order, one at a time, empty ones as well', async () => {
  const { queue, connect } = queueWith();
  const names = ['a.bin', 'empty', 'x'.repeat(300), 'b "quoted"\n.txt'];
  assert.equal(queue.add([file(names[0], 150_000), file(names[1], 0), file(names[2], 1), file(names[3], 70_000, 9)]), 0);
  assert.deepEqual(queue.entries.map(({ state }) => state), Array(4).fill('waiting'));
  const channel = connect();
  assert.deepEqual(await finished(queue), Array(4).fill('saved'));
  assert.deepEqual(channel.stored.map(({ name }) => name), names);
  assert.deepEqual(channel.stored.map(({ content }) => content.length), [150_000, 0, 1, 70_000]);
  assert.deepEqual(Uint8Array.from(channel.stored[0].content), bytes(150_000));
  const ids = channel.files.filter(({ type }) => type === 'file_start').map(({ id }) => id);
  assert.deepEqual([...ids].sort().reverse(), ids, 'a later transfer sorts first');
  queue.clearEnded();
  assert.deepEqual(queue.entries, []);
});

test('a cancelled file stays unfinished on the host, and the next one ends its transfer', async () => {
  const { queue, connect } = queueWith();
  const channel = connect();
  channel.bufferedAmount = 2 << 20;
  queue.add([file('one', 200_000), file('two', 10), file('three', 10)]);
  while (queue.entries[0].state !== 'sending') await settled();
  queue.cancel(queue.entries[1]);
  queue.cancel(queue.entries[0]);
  channel.bufferedAmount = 0;
  assert.deepEqual(await finished(queue), ['cancelled', 'cancelled', 'saved']);
  assert.deepEqual(channel.files.map(({ type, name }) => name ?? type), ['one', 'three', 'file_end']);
  assert.equal(channel.files[0].id, channel.files[1].id);
  assert.deepEqual(channel.stored.map(({ content }) => content.length), [10]);
  assert.ok(queue.entries[0].begun && !queue.entries[1].begun);
  queue.retry(queue.entries[0]);
  assert.deepEqual(await finished(queue), ['cancelled', 'saved', 'saved']);
});

test('progress does not go back when other messages wait in the channel', async () => {
  const { queue, connect } = queueWith();
  const channel = connect();
  queue.add([file('one', 3_000_000)]);
  const [entry] = queue.entries;
  const send = channel.send.bind(channel);
  let held = false;
  channel.send = (data) => {
    send(data);
    // Full in the middle of the file.
    if (!held && channel.open.get('99999999')?.content.length > 2_000_000) {
      held = true;
      channel.bufferedAmount = 1 << 20;
    }
  };
  while (entry.left === 0 || !held) await settled();
  const { left } = entry;
  channel.bufferedAmount += 500;
  await new Promise((resolve) => {
    let ticks = 0;
    queue.onChange(() => ++ticks === 2 && resolve());
  });
  assert.ok(entry.left >= left);
  channel.bufferedAmount = 0;
  channel.dispatchEvent(new Event('bufferedamountlow'));
  assert.deepEqual(await finished(queue), ['saved']);
});

test('one that is cancelled before the host has answered leaves its id alone', async () => {
  const { queue, connect } = queueWith({ silent: ({ name }) => name === 'one' });
  const channel = connect();
  queue.add([file('one', 5), file('two', 5)]);
  await settled();
  queue.cancel(queue.entries[0]);
  assert.deepEqual(await finished(queue), ['cancelled', 'saved']);
  assert.ok(channel.files[1].id < channel.files[0].id);
});

test('one that is cancelled while the host stores it may be there', async () => {
  const { queue, connect } = queueWith({ silent: ({ type }) => type === 'file_end' });
  connect();
  queue.add([file('one', 5)]);
  while (queue.entries[0].state !== 'finishing') await settled();
  queue.cancel(queue.entries[0]);
  assert.deepEqual(await finished(queue), ['cancelled']);
  assert.match(entryText(queue.entries[0]), /may have stored it/);
  queue.retry(queue.entries[0]);
  assert.ok(!queue.entries[0].whole);
  queue.cancelAll();
});

test('begins again after the connection was lost, but not for ever', async () => {
  const { queue, connect, disconnect } = queueWith();
  connect().bufferedAmount = 2 << 20;
  queue.add([file('one', 100_000)]);
  while (queue.entries[0].state !== 'sending') await settled();
  disconnect();
  await settled();
  assert.equal(queue.entries[0].state, 'waiting');
  assert.match(entryText(queue.entries[0]), /starts again/);
  const channel = connect();
  assert.deepEqual(await finished(queue), ['saved']);
  assert.deepEqual(Uint8Array.from(channel.stored[0].content), bytes(100_000));

  channel.bufferedAmount = 2 << 20;
  queue.add([file('two', 100_000)]);
  for (let attempt = 0; attempt < 4; attempt++) {
    while (queue.entries[1].state !== 'sending') await settled();
    disconnect();
    await settled();
    if (queue.active.length > 0) connect().bufferedAmount = 2 << 20;
  }
  assert.deepEqual([queue.entries[1].state, queue.entries[1].reason], ['failed', 'lost']);
});

test('says what the host refused, and does not try the others when that holds for them', async () => {
  const disabled = queueWith({ reject: () => 'disabled' });
  const channel = disabled.connect();
  disabled.queue.add([file('one', 5), file('two', 5)]);
  assert.deepEqual(await finished(disabled.queue), ['failed', 'failed']);
  assert.deepEqual(disabled.queue.entries.map(({ reason }) => reason), ['disabled', 'disabled']);
  assert.equal(channel.files.length, 1);

  const some = queueWith({ reject: ({ name }) => (name === 'one' ? 'too many' : ''), disk: 3 });
  some.connect();
  some.queue.add([file('one', 5), file('two', 5), file('three', 3)]);
  assert.deepEqual(await finished(some.queue), ['failed', 'short', 'saved']);
  assert.match(entryText(some.queue.entries[1]), /^Only 3 bytes of 5 bytes/);
});

test('sends again more slowly when the disk of the host cannot keep up', async () => {
  const { queue, connect } = queueWith({ reject: ({ type }) => type === 'file_end' && 'overloaded' });
  const channel = connect();
  queue.add([file('one', 5)]);
  assert.deepEqual(await finished(queue), ['failed']);
  assert.equal(queue.entries[0].reason, 'overloaded');
  assert.equal(channel.files.filter(({ type }) => type === 'file_start').length, 4);
  assert.ok(queue.entries[0].limit < 64 << 20, `${queue.entries[0].limit}`);
});

test('a file that cannot be read any more fails alone', async () => {
  const { queue, connect } = queueWith();
  connect();
  const gone = { name: 'gone', size: 5, slice: () => ({ arrayBuffer: () => Promise.reject(new Error('NotReadableError')) }) };
  const shorter = { name: 'shorter', size: 5, slice: () => new Blob(['123']) };
  queue.add([gone, shorter, file('there', 5)]);
  assert.deepEqual(await finished(queue), ['failed', 'failed', 'saved']);
  assert.deepEqual(queue.entries.map(({ reason }) => reason), ['unreadable', 'unreadable', '']);
});

test('does not wait for ever for a host that is silent', async (t) => {
  const { queue, connect } = queueWith({ silent: ({ name, type }) => name === 'one' || type === 'file_end' });
  connect();
  t.mock.timers.enable({ apis: ['setTimeout', 'setInterval'] });
  queue.add([file('one', 0), file('two', 0)]);
  const turn = () => new Promise((resolve) => setImmediate(resolve));
  await turn();
  t.mock.timers.tick(20_001);
  await turn();
  // What keeps one file out of the folder keeps the others out as well.
  assert.deepEqual(queue.entries.map(({ state, reason }) => `${state} ${reason}`), ['failed no reply', 'failed no reply']);
  queue.retry(queue.entries[1]);
  for (let i = 0; i < 50 && queue.entries[1].state !== 'finishing'; i++) {
    await turn();
    t.mock.timers.tick(1);
  }
  t.mock.timers.tick(75_001);
  await turn();
  assert.equal(queue.entries[1].reason, 'unconfirmed');
});

test('takes so many files and no more', () => {
  const { queue } = queueWith();
  const many = Array.from({ length: MAX_WAITING + 3 }, (_, index) => file(`${index}`, 0));
  assert.equal(queue.add(many), 3);
  assert.equal(queue.add([file('more', 0)]), 1);
  queue.cancelAll();
  assert.equal(queue.active.length, 0);
  for (let i = 0; i < 3; i++) {
    queue.add(many);
    queue.cancelAll();
  }
  assert.ok(queue.entries.length <= 2 * MAX_WAITING);
});

test('finds the files and the folders of a drop', () => {
  const item = (name, isDirectory) => ({ kind: 'file', webkitGetAsEntry: () => ({ isDirectory }), getAsFile: () => ({ name }) });
  const items = [item('a', false), item('folder', true), { kind: 'string' }, { kind: 'file', getAsFile: () => ({ name: 'b' }) }];
  assert.deepEqual(droppedFiles({ items }), { files: [{ name: 'a' }, { name: 'b' }], folders: 1 });
});

test('speaks of sizes, times and failures', () => {
  assert.deepEqual([0, 1, 999, 1000, 999_499, 999_500, 3_440_000, 99_960_000, 5e12].map(sizeText),
    ['0 bytes', '1 byte', '999 bytes', '1 kB', '999 kB', '1.0 MB', '3.4 MB', '100 MB', '5.0 TB']);
  assert.deepEqual([0.2, 59.5, 125, 3780].map(durationText), ['1 s', '1 min 0 s', '2 min 5 s', '1 h 3 min']);
  assert.equal(entryText({ state: 'sending', size: 40e6, left: 10e6, rate: 2e6 }), '10.0 MB of 40.0 MB · 2.0 MB/s · 15 s left');
  assert.equal(entryText({ state: 'sending', size: 40e6, left: 0, rate: null }), '0 bytes of 40.0 MB');
  assert.equal(entryText({ state: 'sending', size: 40e6, left: 5, rate: 0 }), '5 bytes of 40.0 MB · waiting for the connection');
  assert.match(failureText('disabled'), /Allow Incoming Files/);
  assert.equal(failureText('constructor'), 'The host refused the file: constructor');
  assert.ok(failureText('x'.repeat(5000)).length < 200);
  assert.equal(refusalText({}, 9), '');
  assert.match(refusalText({ folders: 1, refused: 2 }, 9), /^Folders cannot.* 2 files were left out: at most 9/);
});
