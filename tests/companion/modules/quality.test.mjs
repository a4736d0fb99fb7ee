// What the page asks for by itself, over sequences of figures.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Automatic } from '../../../companion/viewer/picture/automatic.js';
import { commonCodecs } from '../../../companion/viewer/picture/codecs.js';
import { Evidence, Patience } from '../../../companion/viewer/picture/evidence.js';

// A session in which the host uses the codec that was decided a second ago.
class Played {
  constructor(codecs = ['h264', 'av1', 'vp9', 'vp8'], codec = 'h264') {
    this.automatic = new Automatic();
    this.automatic.setCodecs(codecs);
    this.codec = codec;
    this.now = 0;
    this.codecs = [];
    this.levels = [];
    this.freezes = 0;
  }

  // Figures of an easy second; `figures` replaces some.
  pass(seconds, figures = {}) {
    for (let second = 0; second < seconds; second++) {
      this.now += 1000;
      this.freezes += figures.newFreezes ?? 0;
      const easy = { estimateKbps: 9000, kbps: 2000, hostPct: 30, encodeMs: 8, decodeMs: 3, fps: 25, lossPct: 0 };
      const choice = this.automatic.observe({ ...easy, ...figures, freezes: this.freezes, codec: this.codec }, this.now);
      if (choice.codec && choice.codec !== this.codec) this.codecs.push(choice.codec);
      if (choice.level !== (this.levels.at(-1) ?? 'full')) this.levels.push(choice.level);
      this.codec = choice.codec ?? this.codec;
      this.choice = choice;
    }
    return this;
  }
}

const thin = { estimateKbps: 1500, kbps: 1300 };

test('leaves an easy session as the host began it', () => {
  const played = new Played().pass(300);
  assert.deepEqual([played.codecs, played.levels, played.choice], [[], [], { codec: null, level: 'full', why: 'link' }]);
});

test('takes AV1 over a thin link, after some seconds', () => {
  const played = new Played().pass(4, thin);
  assert.deepEqual(played.codecs, []);
  played.pass(4, thin);
  assert.deepEqual(played.codecs, ['av1']);
  played.pass(300, thin);
  assert.deepEqual([played.codecs, played.levels, played.choice.why], [['av1'], [], 'thin']);
});

test('a low estimate of a link that is hardly used decides nothing', () => {
  assert.deepEqual(new Played().pass(120, { estimateKbps: 900, kbps: 20 }).codecs, []);
});

test('goes back to H.264 over a link that has grown for long', () => {
  const played = new Played().pass(60, thin).pass(10, { estimateKbps: 7000 });
  assert.deepEqual(played.codecs, ['av1']);
  played.pass(10, { estimateKbps: 7000 });
  assert.deepEqual([played.codecs, played.choice.why], [['av1', 'h264'], 'link']);
});

test('stays between the two limits', () => {
  assert.deepEqual(new Played().pass(200, { estimateKbps: 3500, kbps: 3000 }).codecs, []);
  assert.deepEqual(new Played(undefined, 'av1').pass(200, { estimateKbps: 3500, kbps: 3000 }).codecs, []);
});

test('changes ever more rarely over a link that comes and goes', () => {
  const played = new Played();
  for (let minute = 0; minute < 30; minute++) played.pass(25, thin).pass(35, { estimateKbps: 8000 });
  assert.ok(played.codecs.length >= 3 && played.codecs.length <= 12, played.codecs.join());
  const seconds = new Played();
  for (let second = 0; second < 600; second++) seconds.pass(1, second % 2 ? thin : { estimateKbps: 8000 });
  assert.ok(seconds.codecs.length <= 2, seconds.codecs.join());
});

test('spares a busy host AV1, and then frames', () => {
  assert.deepEqual(new Played().pass(60, { ...thin, hostPct: 85 }).codecs, []);
  const played = new Played().pass(40, thin).pass(20, { ...thin, hostPct: 96 });
  assert.deepEqual(played.codecs, ['av1', 'h264']);
  assert.equal(played.choice.why, 'hostBusy');
  played.pass(40, { ...thin, hostPct: 96 });
  assert.deepEqual([played.codecs, played.levels], [['av1', 'h264'], ['calm']]);
  // The picture keeps its size, however long that lasts.
  assert.deepEqual(played.pass(300, { ...thin, hostPct: 96 }).levels, ['calm']);
  assert.deepEqual(played.pass(120).levels, ['calm', 'full']);
});

test('notices an encoder that is too slow where the host names no load', () => {
  const played = new Played().pass(40, thin).pass(40, { ...thin, hostPct: undefined, encodeMs: 70 });
  assert.deepEqual(played.codecs, ['av1', 'h264']);
});

test('a busy viewer gets what is easier to decode, then fewer frames, then a smaller picture', () => {
  const busy = { decodeMs: 60, fps: 15 };
  const played = new Played(undefined, 'av1').pass(10, busy);
  assert.deepEqual([played.codecs, played.levels], [['h264'], []]);
  played.pass(60, busy);
  assert.deepEqual(played.levels, ['calm', 'small']);
  assert.equal(played.choice.why, 'viewerBusy');
  // Just enough for the smaller picture is not enough for the larger one.
  assert.deepEqual(played.pass(300, { decodeMs: 10, fps: 30 }).levels, ['calm', 'small']);
  assert.deepEqual(played.pass(600, { decodeMs: 2, fps: 30 }).levels, ['calm', 'small', 'calm', 'full']);
});

test('freezes alone prove nothing; with losses they hurry', () => {
  assert.deepEqual(new Played().pass(100, { newFreezes: 1 }).codecs, []);
  const lossy = { ...thin, newFreezes: 1, lossPct: 8 };
  const played = new Played().pass(1, lossy).pass(4, lossy);
  assert.deepEqual(played.codecs, ['av1']);
});

test('decides nothing from figures that are missing', () => {
  const none = Object.fromEntries(['estimateKbps', 'kbps', 'hostPct', 'encodeMs', 'decodeMs', 'fps', 'lossPct'].map((key) => [key, null]));
  const played = new Played().pass(100, none);
  assert.deepEqual([played.codecs, played.levels, played.choice.why], [[], [], 'unknown']);
  assert.deepEqual(new Played().pass(100, { ...thin, hostPct: undefined }).codecs, []);
  const wrong = new Played().pass(100, { estimateKbps: 'much', kbps: NaN, hostPct: -5, decodeMs: {}, fps: Infinity });
  assert.deepEqual([wrong.codecs, wrong.levels], [[], []]);
});

test('an interruption begins the count anew', () => {
  const played = new Played().pass(4, thin);
  played.now += 60000;
  assert.deepEqual(played.pass(4, thin).codecs, []);
});

test('uses what both ends can do', () => {
  assert.deepEqual(new Played(['vp8', 'vp9'], 'vp8').pass(20, thin).codecs, ['vp9']);
  assert.deepEqual(new Played(['vp8'], 'vp8').pass(100, thin).codecs, []);
  assert.deepEqual(new Played(['vp8', 'av1'], 'av1').pass(60).codecs, ['vp8']);
});

test('finds the codecs of both ends', () => {
  const sdp = 'v=0\r\nm=audio 9 X 0\r\na=rtpmap:0 VP9/8000\r\nm=video 9 X 96 97 98\r\na=rtpmap:96 H264/90000\r\na=rtpmap:97 rtx/90000\r\n' +
    'a=rtpmap:98 AV1/90000\r\nm=video 9 X 96\r\na=rtpmap:96 VP8/90000\r\n';
  const capabilities = { codecs: ['video/AV1', 'video/VP8', 'video/rtx', 'video/h264', 'video/H264'].map((mimeType) => ({ mimeType })) };
  assert.deepEqual(commonCodecs(sdp, capabilities), ['h264', 'av1']);
  assert.deepEqual(commonCodecs(sdp, null), []);
  assert.deepEqual(commonCodecs('', capabilities), []);
});

test('evidence outlasts a contradiction, and unknown seconds', () => {
  const evidence = new Evidence(3);
  for (const holds of [true, true, false, true, null]) evidence.note(holds);
  assert.equal(evidence.proven, false);
  evidence.note(true);
  assert.equal(evidence.proven, true);
});

test('patience grows with every change that follows soon', () => {
  const patience = new Patience(10, 100);
  assert.ok(patience.allows(0));
  patience.changed(0);
  assert.deepEqual([9, 10].map((now) => patience.allows(now)), [false, true]);
  patience.changed(10);
  assert.deepEqual([29, 30].map((now) => patience.allows(now)), [false, true]);
  for (let change = 0; change < 10; change++) patience.changed(30);
  assert.deepEqual([129, 130].map((now) => patience.allows(now)), [false, true]);
  patience.changed(500);
  assert.ok(patience.allows(510));
});
