// What makes a file of a recorder's stream, and what it is called.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { recordingName, recordingRate, recordingType } from '../../../companion/viewer/tools/recording/formats.js';
import { WebmCompleter } from '../../../companion/viewer/tools/recording/webm.js';

// Of hexadecimal texts and lists of numbers.
const bytes = (...parts) => Uint8Array.from(parts.flatMap((part) => [...(typeof part === 'string' ? Buffer.from(part, 'hex') : part)]));
const sized = (id, content) => bytes(id, [0x80 | content.length], content);
const UNKNOWN = '01ffffffffffffff';

// As browsers write it: a segment and clusters without a size, frames as simple blocks or as groups.
const head = bytes(sized('1a45dfa3', bytes('42868101')), '18538067', UNKNOWN, sized('1549a966', bytes('2ad7b1830f4240', sized('4d80', bytes('41')))), sized('1654ae6b', bytes('ae81d7')));
const cluster = (time) => bytes('1f43b675', UNKNOWN, sized('e7', bytes([time >> 8, time & 255])));
const simple = (time, key) => sized('a3', bytes([0x81, time >> 8, time & 255, key ? 0x80 : 0], 'dddddd'));
const group = (time, key) => sized('a0', bytes(sized('a1', bytes([0x81, time >> 8, time & 255, 0], 'cccc')), key ? '' : 'fb817f'));
const stream = bytes(head, cluster(0), simple(0, true), simple(500, false), cluster(5000), group(10, true), group(900, false), group(1500, false));

function completed(whole, sliceLength, seconds = 0) {
  const completer = new WebmCompleter();
  const written = [];
  for (let at = 0; at < whole.length; at += sliceLength) written.push(...completer.take(whole.slice(at, at + sliceLength)));
  const parts = completer.finish(seconds);
  if (!parts) return { file: Uint8Array.from(written), parts };
  const file = Uint8Array.from([...written, ...parts.end]);
  file.set(parts.start);
  return { file, parts };
}
const find = (file, pattern, from = 0) => Buffer.from(file).indexOf(Buffer.from(pattern, 'hex'), from);
const findLast = (file, pattern) => Buffer.from(file).lastIndexOf(Buffer.from(pattern, 'hex'));
const numberAt = (file, at) => Number(Buffer.from(file).readBigUInt64BE(at));
const durationIn = (file) => Buffer.from(file).readDoubleBE(find(file, '448988') + 3);

test('adds the duration, and the places of the key frames', () => {
  for (const slice of [1, 2, 7, 1000]) {
    const { file } = completed(stream, slice);
    assert.equal(durationIn(file), 6500, `slices of ${slice}`);
    const segment = find(file, '18538067') + 12;
    const cues = segment + numberAt(file, find(file, '53ac88') + 3);
    assert.equal(cues, findLast(file, '1c53bb6b'));
    const [first, second] = [find(file, 'b388', cues), findLast(file, 'b388')];
    assert.deepEqual([first, second].map((at) => numberAt(file, at + 2)), [0, 5010]);
    const clusters = [first, second].map((at) => segment + numberAt(file, find(file, 'f188', at) + 2));
    assert.deepEqual(clusters, [find(file, '1f43b675'), findLast(file, '1f43b675')]);
    // The frames themselves are unchanged.
    const frames = stream.slice(head.length);
    assert.deepEqual(file.slice(cues - frames.length, cues), frames);
  }
});

test('a still screen at the end counts as well', () => {
  const { file } = completed(stream, 50, 60);
  assert.equal(durationIn(file), 60000);
});

test('a file that was never completed still plays: what is left out is blank', () => {
  const completer = new WebmCompleter();
  const file = completer.take(stream);
  assert.equal(find(file, '448988'), -1);
  assert.notEqual(find(file, 'ec98'), -1);
  assert.notEqual(find(file, 'ec89'), -1);
});

test('a stream of another form passes unchanged', () => {
  const mp4 = bytes('0000001c66747970', '69736f6d0000020069736f6d69736f32');
  const sizedSegment = bytes(sized('1a45dfa3', bytes('42868101')), '1853806788', Array(8).fill(0));
  const noInfo = bytes('18538067', UNKNOWN, cluster(0), simple(0, true));
  const endless = bytes('18538067', UNKNOWN, 'ec', UNKNOWN, Array(40).fill(7));
  for (const other of [mp4, sizedSegment, noInfo, endless]) {
    for (const slice of [1, 1000]) {
      const { file, parts } = completed(other, slice);
      assert.deepEqual(parts, null);
      assert.deepEqual(file.slice(0, other.length), other.slice(0, file.length));
    }
  }
});

test('never keeps more than a beginning', () => {
  const completer = new WebmCompleter();
  const junk = bytes('18538067', UNKNOWN, 'ec', '08ffffffff');
  let written = completer.take(junk).length;
  for (let round = 0; round < 20; round++) written += completer.take(new Uint8Array(1e5)).length;
  assert.equal(written, junk.length + 2e6);
});

test('writes the best type that the browser knows', () => {
  assert.equal(recordingType(() => true), 'video/webm;codecs=vp9');
  assert.equal(recordingType((type) => !type.includes('vp9')), 'video/webm;codecs=vp8');
  assert.equal(recordingType((type) => type.includes('mp4')), '');
});

test('a larger picture gets more bits, within bounds', () => {
  assert.deepEqual([[320, 240], [1920, 1080], [7680, 4320]].map(([width, height]) => recordingRate(width, height)), [1500000, 4976640, 12000000]);
});

test('names the file after the host and the time', () => {
  const at = new Date(2026, 0, 5, 7, 8);
  assert.equal(recordingName('Front desk', at), 'Front desk 2026-01-05 07.08.webm');
  assert.equal(recordingName(' ..\\a/b:"c"\u0007\u202e ', at), 'a b c 2026-01-05 07.08.webm');
  assert.equal(recordingName('...', at), 'Recording 2026-01-05 07.08.webm');
});
