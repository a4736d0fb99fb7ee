// The page's functions that need no page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Backoff } from '../../../companion/viewer/link/backoff.js';
import { CaptureWatch } from '../../../companion/viewer/picture/capture.js';
import { Control } from '../../../companion/viewer/control/control.js';
import { imageRect, normalised, wheelPixels, wholePixels } from '../../../companion/viewer/control/geometry.js';
import { AUTOMATIC, QualityRequest } from '../../../companion/viewer/picture/request.js';
import { candidateUfrag, fingerprintOf, ufragsOf } from '../../../companion/viewer/link/sdp.js';
import { parseMessage } from '../../../companion/viewer/link/message.js';
import { figuresOf } from '../../../companion/viewer/picture/stats.js';
import { rateText } from '../../../companion/viewer/picture/figures.js';
import { Settings } from '../../../companion/viewer/shell/settings.js';
import { Hosts } from '../../../companion/viewer/start/hosts.js';

test('distinguishes peers by their fingerprint, whatever its letter case', () => {
  const sdp = 'v=0\r\na=ice-ufrag:abcd\r\na=fingerprint:SHA-256 ab:CD:01\r\nm=video\r\na=fingerprint:sha-1 FF\r\n';
  assert.equal(fingerprintOf(sdp), 'sha-256 AB:CD:01');
  assert.equal(fingerprintOf('v=0\r\n'), '');
});

test('matches candidates to descriptions by their ICE user name', () => {
  const sdp = 'a=ice-ufrag:one\r\nm=video\r\na=ice-ufrag:two\r\na=ice-ufrag:one\r\n';
  assert.deepEqual([...ufragsOf(sdp)], ['one', 'two']);
  assert.equal(candidateUfrag('candidate:1 1 udp 1 10.0.0.1 9 typ host generation 0 ufrag two network-id 1'), 'two');
  assert.equal(candidateUfrag('candidate:1 1 udp 1 10.0.0.1 9 typ host'), '');
});

test('finds the image between the bars', () => {
  const wide = imageRect({ left: 10, top: 20, width: 1000, height: 1000 }, 1600, 800);
  assert.deepEqual(wide, { left: 10, top: 270, width: 1000, height: 500 });
  const tall = imageRect({ left: 0, top: 0, width: 1000, height: 500 }, 500, 1000);
  assert.deepEqual(tall, { left: 375, top: 0, width: 250, height: 500 });
  assert.equal(imageRect({ left: 0, top: 0, width: 1000, height: 500 }, 0, 0), null);
  assert.equal(imageRect({ left: 0, top: 0, width: 0, height: 0 }, 640, 360), null);
});

test('holds a point outside of the image to its edge', () => {
  const rect = { left: 100, top: 50, width: 200, height: 100 };
  assert.deepEqual(normalised(rect, 200, 100), { x: 0.5, y: 0.5, inside: true });
  assert.deepEqual(normalised(rect, 300, 150), { x: 1, y: 1, inside: true });
  assert.deepEqual(normalised(rect, 20, 400), { x: 0, y: 1, inside: false });
});

test('counts the wheel in pixels', () => {
  assert.deepEqual(wheelPixels({ deltaX: 3, deltaY: -7, deltaMode: 0 }, 800, 600), { dx: 3, dy: -7 });
  assert.deepEqual(wheelPixels({ deltaX: 0, deltaY: 3, deltaMode: 1 }, 800, 600), { dx: 0, dy: 120 });
  assert.deepEqual(wheelPixels({ deltaX: 1, deltaY: -1, deltaMode: 2 }, 800, 600), { dx: 800, dy: -600 });
  // As Firefox reports a step of a mouse wheel: the property that is read first decides.
  let mode = null;
  const step = {
    deltaX: 0,
    get deltaMode() { return (mode ??= 1); },
    get deltaY() { return (mode ??= 0) ? 6 : 114; },
  };
  assert.deepEqual(wheelPixels(step, 800, 600), { dx: 0, dy: 114 });
});

test('sends whole pixels and keeps the rest for later', () => {
  assert.deepEqual(wholePixels({ dx: 3.75, dy: -1.5 }), { whole: { dx: 3, dy: -1 }, rest: { dx: 0.75, dy: -0.5 } });
  assert.deepEqual(wholePixels({ dx: 0.25, dy: -0.75 }), { whole: { dx: 0, dy: 0 }, rest: { dx: 0.25, dy: -0.75 } });
  assert.deepEqual(wholePixels({ dx: 0, dy: 7 }), { whole: { dx: 0, dy: 7 }, rest: { dx: 0, dy: 0 } });
});

test('distinguishes a screen that cannot be recorded from one whose first frame is late', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const told = [];
  const watch = new CaptureWatch((failed) => told.push(failed));
  const blind = { capture: 'screen', lastCaptureNs: 0 };
  watch.receive(blind);
  t.mock.timers.tick(2000);
  watch.receive(blind);
  t.mock.timers.tick(999);
  assert.ok(!watch.failed);
  t.mock.timers.tick(1);
  assert.ok(watch.failed);
  watch.receive({ capture: 'screen', lastCaptureNs: 5 });
  assert.deepEqual(told, [true, false]);
  // A test picture captures nothing and lacks nothing; a connection that ended says nothing about the next.
  for (const end of [() => watch.receive({ capture: 'dummy', lastCaptureNs: 0 }), () => watch.receive({}), () => watch.reset()]) {
    watch.receive(blind);
    t.mock.timers.tick(2900);
    end();
    t.mock.timers.tick(60000);
  }
  assert.deepEqual(told, [true, false]);
});

test('asks for the size of the screen once for each source that is shared', () => {
  const sent = [];
  const quality = new QualityRequest((message) => sent.push(`${message.type} ${message.preset}`));
  const expect = (...wanted) => assert.deepEqual(sent.splice(0), wanted);
  quality.receive({ capture: 'dummy', displayIndex: 0 });
  expect();
  quality.receive({ capture: 'screen', displayIndex: 0 });
  quality.receive({ capture: 'screen', displayIndex: 0 });
  expect('quality native');
  quality.receive({ capture: 'screen', displayIndex: 1 });
  expect('quality native');
  quality.reset();
  expect();
  quality.receive({ capture: 'screen', displayIndex: 1 });
  expect('quality native');
});

test('asks for less by itself, and for more again', () => {
  const sent = [];
  const quality = new QualityRequest((message) => sent.push(message));
  const expect = (...wanted) => assert.deepEqual(sent.splice(0), wanted);
  const native = { type: 'quality', preset: 'native' };
  quality.setLevel('calm');
  expect();
  const calm = { type: 'video_params', fps: 30, maxBitrateKbps: 6221 };
  quality.receive({ capture: 'screen', displayIndex: 0 });
  expect(native, calm);
  quality.receive({ capture: 'screen', displayIndex: 0, preset: 'native', width: 2560, height: 1440 });
  quality.setLevel('small');
  quality.setLevel('small');
  expect({ type: 'quality', preset: 'high' });
  quality.receive({ capture: 'screen', displayIndex: 0, preset: 'high', width: 1920, height: 1080 });
  quality.setLevel('calm');
  expect(native, { ...calm, maxBitrateKbps: 11059 });
  quality.choose('low');
  quality.setLevel('full');
  expect({ type: 'quality', preset: 'low' });
  quality.choose(AUTOMATIC);
  expect(native);
});

test('keeps the quality that was chosen for later connections', () => {
  const sent = [];
  const quality = new QualityRequest((message) => sent.push(message));
  quality.receive({ capture: 'screen', displayIndex: 0 });
  quality.choose('low');
  quality.reset();
  quality.receive({ capture: 'dummy', displayIndex: 0 });
  quality.receive({ capture: 'screen', displayIndex: 0 });
  assert.deepEqual(sent.map(({ preset }) => preset), ['native', 'low', 'low', 'low']);
});

test('waits longer each time and starts over after a reset', () => {
  const backoff = new Backoff(500, 3000);
  assert.deepEqual([1, 2, 3, 4, 5].map(() => backoff.next()), [500, 1000, 2000, 3000, 3000]);
  backoff.reset();
  assert.equal(backoff.next(), 500);
});

test('takes only objects with a string type for messages', () => {
  assert.deepEqual(parseMessage('{"type":"offer","sdp":""}'), { type: 'offer', sdp: '' });
  for (const text of ['', '{', '[]', 'null', '7', '{"type":7}', '{}']) assert.equal(parseMessage(text), null, text);
  assert.equal(parseMessage(new ArrayBuffer(4)), null);
});

test('reads rates from two statistics reports', () => {
  const report = (timestamp, bytesReceived, framesDecoded) => new Map([
    ['unused', { id: 'unused', type: 'inbound-rtp', kind: 'video', timestamp, bytesReceived: 0, framesDecoded: 0 }],
    ['v', { id: 'v', type: 'inbound-rtp', kind: 'video', timestamp, bytesReceived, framesDecoded, frameWidth: 1280,
      frameHeight: 720, codecId: 'c' }],
    ['c', { id: 'c', type: 'codec', mimeType: 'video/AV1' }],
  ]);
  const first = figuresOf(report(1000, 1000, 10), null);
  assert.deepEqual([first.width, first.height, first.codec, first.fps, first.kbps], [1280, 720, 'AV1', null, null]);
  const second = figuresOf(report(3000, 251000, 70), first);
  assert.deepEqual([second.fps, second.kbps], [30, 1000]);
  assert.equal(figuresOf(new Map(), null), null);
  assert.equal(figuresOf(report(4000, 10, 1), second).kbps, null, 'a new stream has no rate yet');
});

test('writes rates the way people read them', () => {
  assert.equal(rateText(0.4), '0 kbit/s');
  assert.equal(rateText(999), '999 kbit/s');
  assert.equal(rateText(1840), '1.8 Mbit/s');
});

// A fake of one of the host's channels.
class HostChannel extends EventTarget {
  readyState = 'connecting';
  bufferedAmount = 0;
  sent = [];
  constructor(label) {
    super();
    this.label = label;
  }
  become(state) {
    this.readyState = state;
    this.dispatchEvent(new Event(state === 'open' ? 'open' : 'close'));
  }
  say(message) {
    this.dispatchEvent(new MessageEvent('message', { data: JSON.stringify(message) }));
  }
  send(text) {
    this.sent.push(JSON.parse(text));
  }
}

test('begins again with a new "control" beside the reliable channel that stayed', (t) => {
  t.mock.timers.enable({ apis: ['setInterval'] });
  const told = [];
  const control = new Control({
    state: () => {}, ready: (ready) => told.push(ready), reliable: (open) => told.push(open ? 'open' : 'closed'),
    roundTrip: () => {}, refused: () => {}, message: () => {},
  });
  const adopted = (label) => {
    const channel = new HostChannel(label);
    control.adopt(channel);
    channel.become('open');
    return channel;
  };
  const first = adopted('control');
  assert.deepEqual(told, []);
  const reliable = adopted('control_reliable');
  assert.deepEqual(told.splice(0), ['open', true]);
  control.unlock('123456');
  reliable.say({ type: 'auth', ok: true });
  first.become('closed');
  assert.deepEqual(told.splice(0), [false]);
  assert.equal(control.state, 'locked');
  reliable.sent.length = 0;
  adopted('control');
  assert.deepEqual(told.splice(0), [true]);
  assert.deepEqual(reliable.sent.map(({ type, token }) => token ?? type), ['ping', '123456']);
  t.mock.timers.tick(2000);
  assert.equal(reliable.sent.length, 3);
  // One after another the channels of a connection are one beginning.
  reliable.become('closed');
  adopted('control_reliable');
  adopted('control');
  assert.deepEqual(told.splice(0), ['closed', false, 'open', true]);
});

test('keeps the newest message of each type, but of no more types than the protocol may have', () => {
  const control = new Control({
    state: () => {}, ready: () => {}, reliable: () => {}, roundTrip: () => {}, refused: () => {}, message: () => {},
  });
  const channel = new HostChannel('control_reliable');
  control.adopt(channel);
  channel.say({ type: 'host_stats', fps: 1 });
  for (let i = 0; i < 1000; i++) channel.say({ type: `type ${i}` });
  channel.say({ type: 'host_stats', fps: 2 });
  assert.equal(control.lastMessages.host_stats.fps, 2);
  assert.equal(Object.keys(control.lastMessages).length, 64);
  assert.equal(control.recentMessages.length, 300);
  channel.say({ type: 'host_stats', text: 'x'.repeat(70_000) });
  assert.ok(!('host_stats' in control.lastMessages), 'neither a long one nor one that is not the newest');
  // Nor of more text than a session has in short messages.
  for (let i = 0; i < 10; i++) channel.say({ type: 'host_stats', i, text: 'x'.repeat(250_000) });
  assert.deepEqual(control.recentMessages.map(({ i }) => i), [6, 7, 8, 9]);
  channel.say({ type: 'host_stats', text: 'x'.repeat(2_000_000) });
  assert.deepEqual(control.recentMessages, []);
  channel.say({ type: 'host_stats', i: 'short' });
  assert.deepEqual(control.recentMessages.map(({ i }) => i), ['short']);
});

// As a browser's local storage, full when it has `room` values.
function storage(room = Infinity) {
  const values = new Map();
  return {
    getItem: (name) => values.get(name) ?? null,
    setItem: (name, value) => {
      if (values.size >= room && !values.has(name)) throw new Error('full');
      values.set(name, value);
    },
  };
}

test('tabs of a browser share what is remembered', () => {
  const shared = storage();
  const [one, other] = [new Hosts(new Settings(shared)), new Hosts(new Settings(shared))];
  one.name('a', 'Front desk');
  other.name('b', 'Workshop');
  one.opened('a', 5);
  assert.deepEqual(one.all.map(({ room, opened }) => [room, opened]), [['a', 5], ['b', 0]]);
  assert.deepEqual(other.all, one.all);
});

test('what cannot be stored is remembered until the page is closed', () => {
  for (const place of [null, storage(0), { getItem: () => { throw new Error('blocked'); }, setItem: () => { throw new Error('blocked'); } }]) {
    const settings = new Settings(place);
    settings.set('view', 2);
    assert.equal(settings.get('view', 'fit', Number.isFinite), 2);
    settings.set('view', 'fit');
    assert.equal(settings.get('view', 1, (value) => value === 'fit'), 'fit');
  }
  const settings = new Settings({ getItem: () => '{broken', setItem() {} });
  assert.equal(settings.get('view', 'fit'), 'fit');
});
