// Completes a WebM file while a browser's recorder writes it. What a recorder makes is a live stream: players know
// neither its duration nor where to find a time in it. Both become known as it passes; room for them is left at the
// beginning. A stream of an unexpected form passes unchanged.

const ID = {
  segment: 0x18538067, info: 0x1549a966, cluster: 0x1f43b675, blockGroup: 0xa0, block: 0xa1, simpleBlock: 0xa3,
  reference: 0xfb, clusterTime: 0xe7, timeScale: 0x2ad7b1, duration: 0x4489, cues: 0x1c53bb6b,
};
// Their content is read element by element.
const OPENED = new Set([ID.segment, ID.cluster, ID.blockGroup]);
// Bytes that are looked at of these elements.
const READ = { [ID.block]: 4, [ID.simpleBlock]: 4, [ID.clusterTime]: 8 };

const MAX_HEADER = 1 << 20;
// Places in the file that can be found at once: at least a second apart, for a day and more.
const MAX_CUES = 100000;
const CUE_DISTANCE_MS = 1000;

export class WebmCompleter {
  // Bytes that may still be needed, and the position of the first of them in the stream: all of them while there is no
  // header, later only the beginning of an element that is incomplete.
  #buffer = new Uint8Array(0);
  #bufferAt = 0;
  // The position of the next element to be read.
  #at = 0;
  #taken = 0;
  #segment = -1;
  #info = null;
  #header = null;
  #passThrough = false;
  #cluster = { at: 0, time: 0 };
  #group = null;
  #newest = 0;
  #cues = [];

  // Bytes of the recorder, in order; returns those to be written at the end of the file: none while the beginning of
  // the stream is incomplete.
  take(bytes) {
    if (this.#passThrough) return bytes;
    const begun = this.#header !== null;
    this.#taken += bytes.length;
    this.#buffer = concat([this.#buffer, bytes]);
    this.#read();
    const all = this.#buffer;
    if (this.#passThrough) {
      this.#buffer = new Uint8Array(0);
      return begun ? bytes : all;
    }
    if (!this.#header) return new Uint8Array(0);
    const used = Math.min(this.#at - this.#bufferAt, all.length);
    this.#buffer = all.slice(used);
    this.#bufferAt += used;
    return begun ? bytes : concat([this.#header.bytes, all.subarray(this.#header.firstCluster)]);
  }

  // After the last bytes: {end, start}, the bytes to be written at the end of the file and those that replace its
  // beginning; null when the file stays as it is. `seconds`: how long the recording is at least.
  finish(seconds = 0) {
    if (this.#passThrough || !this.#header) return null;
    this.#endGroup();
    const { bytes, timeScale, durationAt, seekAt, shift } = this.#header;
    const start = bytes.slice();
    const duration = Math.max(this.#newest, (seconds * 1e9) / timeScale);
    start.set(element(ID.duration, float64(duration)), durationAt);
    if (this.#cues.length === 0) return { end: new Uint8Array(0), start };
    start.set(seekHead(this.#taken + shift - this.#segment), seekAt);
    const points = this.#cues.map(({ time, at }) =>
      element(0xbb, concat([
        element(0xb3, uint64(time)),
        element(0xb7, concat([element(0xf7, Uint8Array.of(1)), element(0xf1, uint64(at + shift - this.#segment))])),
      ])));
    return { end: element(ID.cues, concat(points)), start };
  }

  #read() {
    for (;;) {
      const offset = this.#at - this.#bufferAt;
      const head = offset < this.#buffer.length ? elementHead(this.#buffer, offset) : null;
      if (!head) break;
      const needed = Math.min(head.size, READ[head.id] ?? 0);
      if (offset + head.length + needed > this.#buffer.length) break;
      if (!this.#element(head, offset, needed)) {
        this.#passThrough = true;
        return;
      }
      this.#at += OPENED.has(head.id) ? head.length : head.length + head.size;
    }
    if (!this.#header && this.#buffer.length > MAX_HEADER) this.#passThrough = true;
  }

  // Takes note of an element at `offset` of the buffer, whose first `needed` bytes are there; false for a stream that is
  // not understood.
  #element({ id, length, size }, offset, needed) {
    if (size === Infinity && id !== ID.segment && id !== ID.cluster) return false;
    const content = this.#buffer.subarray(offset + length, offset + length + needed);
    if (this.#group && this.#at >= this.#group.end) this.#endGroup();
    switch (id) {
      case ID.segment:
        this.#segment = this.#at + length;
        // A size that is set before the end would have to be changed with it.
        return size === Infinity;
      case ID.info:
        this.#info = { at: offset, length, size };
        break;
      case ID.cluster:
        if (!this.#header && !this.#makeHeader(offset)) return false;
        this.#cluster = { at: this.#at, time: this.#cluster.time };
        break;
      case ID.clusterTime:
        this.#cluster.time = unsigned(content);
        break;
      case ID.blockGroup:
        this.#group = { end: this.#at + length + size, time: null, key: true };
        break;
      case ID.block:
        if (this.#group) this.#group.time = this.#timeOf(content);
        break;
      case ID.reference:
        if (this.#group) this.#group.key = false;
        break;
      case ID.simpleBlock:
        this.#frame(this.#timeOf(content), (content[3] & 0x80) !== 0);
        break;
      default:
        break;
    }
    return true;
  }

  #endGroup() {
    if (this.#group && this.#group.time !== null) this.#frame(this.#group.time, this.#group.key);
    this.#group = null;
  }

  // The track's number is one byte: a recorder has one track.
  #timeOf(content) {
    if (content.length < 4) return this.#cluster.time;
    return this.#cluster.time + new DataView(content.buffer, content.byteOffset).getInt16(1);
  }

  #frame(time, key) {
    this.#newest = Math.max(this.#newest, time);
    if (!key || this.#cues.length >= MAX_CUES) return;
    const distance = (CUE_DISTANCE_MS * 1e6) / this.#header.timeScale;
    const last = this.#cues.at(-1);
    if (!last || time >= last.time + distance) this.#cues.push({ time, at: this.#cluster.at });
  }

  // The beginning of the file up to the first cluster, with room for the places of the cues and for the duration.
  #makeHeader(firstCluster) {
    if (this.#segment < 0 || !this.#info) return false;
    const bytes = this.#buffer;
    const { at, length, size } = this.#info;
    const content = bytes.subarray(at + length, at + length + size);
    const kept = [];
    let timeScale = 1e6;
    for (let offset = 0; offset < content.length; ) {
      const head = elementHead(content, offset);
      if (!head || head.size === Infinity || offset + head.length + head.size > content.length) return false;
      const end = offset + head.length + head.size;
      if (head.id === ID.timeScale) timeScale = unsigned(content.subarray(offset + head.length, end));
      if (head.id !== ID.duration) kept.push(content.subarray(offset, end));
      offset = end;
    }
    if (!(timeScale > 0)) return false;
    const room = blank(element(ID.duration, float64(0)).length);
    const info = element(ID.info, concat([...kept, room]));
    const seek = blank(seekHead(0).length);
    const before = bytes.subarray(0, this.#segment);
    const between = bytes.subarray(this.#segment, at);
    const header = concat([before, seek, between, info, bytes.subarray(at + length + size, firstCluster)]);
    this.#header = {
      bytes: header, firstCluster, timeScale, seekAt: before.length,
      durationAt: before.length + seek.length + between.length + info.length - room.length,
      shift: header.length - firstCluster,
    };
    return true;
  }
}

// {id, length (of id and size), size (of the content, may be Infinity)} of the element at `offset`; null when it is not
// complete.
function elementHead(bytes, offset) {
  const id = variable(bytes, offset, false);
  const size = id && variable(bytes, offset + id.length, true);
  return size ? { id: id.value, length: id.length + size.length, size: size.value } : null;
}

// A number of variable length: the position of its first set bit is its length in bytes.
function variable(bytes, offset, isSize) {
  if (offset >= bytes.length) return null;
  const first = bytes[offset];
  const length = Math.clz32(first) - 23;
  if (offset + length > bytes.length) return null;
  let value = isSize ? first & (0xff >> length) : first;
  let unknown = isSize && value === 0xff >> length;
  for (let at = 1; at < length; at++) {
    value = value * 256 + bytes[offset + at];
    unknown &&= bytes[offset + at] === 0xff;
  }
  return { length, value: unknown ? Infinity : value };
}

function unsigned(bytes) {
  return bytes.reduce((value, byte) => value * 256 + byte, 0);
}

function uint64(value) {
  const bytes = new Uint8Array(8);
  new DataView(bytes.buffer).setBigUint64(0, BigInt(Math.max(0, Math.round(value))));
  return bytes;
}

function float64(value) {
  const bytes = new Uint8Array(8);
  new DataView(bytes.buffer).setFloat64(0, value);
  return bytes;
}

function element(id, content) {
  const idBytes = Uint8Array.from(id.toString(16).match(/../g), (pair) => Number.parseInt(pair, 16));
  if (content.length < 127) return concat([idBytes, Uint8Array.of(0x80 | content.length), content]);
  const size = uint64(content.length);
  size[0] = 0x01;
  return concat([idBytes, size, content]);
}

// An element without meaning, of `length` bytes.
function blank(length) {
  return element(0xec, new Uint8Array(length - 2));
}

// Says that the cues are at `position`, counted from the beginning of the segment's content.
function seekHead(position) {
  const id = element(0x53ab, Uint8Array.of(0x1c, 0x53, 0xbb, 0x6b));
  return element(0x114d9b74, element(0x4dbb, concat([id, element(0x53ac, uint64(position))])));
}

function concat(parts) {
  const all = new Uint8Array(parts.reduce((length, part) => length + part.length, 0));
  let at = 0;
  for (const part of parts) {
    all.set(part, at);
    at += part.length;
  }
  return all;
}
