// The host's clipboard: its text and the viewer's, long ones in pieces.

// Bytes of UTF-8 of the longest text that host and viewer exchange.
export const MAX_TEXT_BYTES = 10 * 1024 * 1024;

// A message with a piece is no longer than this, nor than what the host takes: other messages go in between.
const MAX_PIECE_MESSAGE = 64 * 1024;
// What a message holds beside the text, with numbers as long as they get.
const ENVELOPE = 200;
// Bytes that may wait in the browser before the next piece is sent.
const MAX_WAITING = 256 * 1024;
// When nothing more of a text arrives for this long, the host has broken it off.
const MAX_PAUSE_MS = 15000;
// When no more of the viewer's text can be sent for this long, or all is sent and not acknowledged, the host is silent.
const MAX_SILENCE_MS = 60000;
// How long a text that the host took may need until its desktop has it.
const MAX_SETTLE_MS = 2000;

// Bytes of UTF-8; half of a surrogate pair counts as the replacement character, three bytes.
export function utf8Length(text) {
  let bytes = 0;
  for (let at = 0; at < text.length; ) {
    const point = text.codePointAt(at);
    bytes += point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
    at += point < 0x10000 ? 1 : 2;
  }
  return bytes;
}

// What a character takes inside a JSON string.
function jsonBytes(point) {
  if (point === 0x22 || point === 0x5c) return 2;
  if (point < 0x20) return '\b\f\n\r\t'.includes(String.fromCharCode(point)) ? 2 : 6;
  if (point < 0x80) return 1;
  if (point < 0x800) return 2;
  if (point >= 0xd800 && point < 0xe000) return 6;
  return point < 0x10000 ? 3 : 4;
}

// Where to cut `text` so that each piece takes at most `maximum` bytes inside a JSON string; never within a surrogate
// pair.
export function pieceEnds(text, maximum) {
  const ends = [];
  let bytes = 0;
  for (let at = 0; at < text.length; ) {
    const point = text.codePointAt(at);
    const more = jsonBytes(point);
    if (bytes > 0 && bytes + more > maximum) {
      ends.push(at);
      bytes = 0;
    }
    bytes += more;
    at += point < 0x10000 ? 1 : 2;
  }
  if (text.length > 0) ends.push(text.length);
  return ends;
}

// Puts the pieces of one text at a time together. They come in order; whatever does not continue its text ends it.
export class TextAssembler {
  #id = null;
  #parts = 0;
  #length = 0;
  #bytes = 0;
  #pieces = [];

  // A message with a piece; returns the whole text with the last one, else null.
  take({ id, part, parts, length, text }) {
    if (![id, part, parts, length].every(Number.isSafeInteger) || typeof text !== 'string') return null;
    if (part === 0) {
      this.drop();
      if (parts < 1 || parts > length || length > MAX_TEXT_BYTES) return null;
      this.#id = id;
      this.#parts = parts;
      this.#length = length;
    } else if (id !== this.#id) {
      return null;
    }
    const bytes = utf8Length(text);
    const last = part + 1 === this.#parts;
    const received = this.#bytes + bytes;
    const fits = last ? received === this.#length : received < this.#length;
    if (part !== this.#pieces.length || parts !== this.#parts || length !== this.#length || bytes === 0 || !fits) {
      this.drop();
      return null;
    }
    this.#pieces.push(text);
    this.#bytes = received;
    if (!last) return null;
    const whole = this.#pieces.join('');
    this.drop();
    return whole;
  }

  // How much of the unfinished text is there, 0 to 1.
  get share() {
    return this.#length > 0 ? this.#bytes / this.#length : 0;
  }

  // Forgets the unfinished text.
  drop() {
    this.#id = null;
    this.#parts = 0;
    this.#length = 0;
    this.#bytes = 0;
    this.#pieces = [];
  }
}

export class HostClipboard {
  #way;
  #on;
  #incoming = new TextAssembler();
  #pause = 0;
  #watching = false;
  #transfers = 0;
  // The text that is being set: {id, req, progress(share), end(outcome)}.
  #outgoing = null;
  #silence = 0;
  #settling = null;

  // way.channel(): the open reliable channel, or null; way.limit(): bytes of the longest message that the host accepts.
  // on.text(text): what is on the host's clipboard; on.tooLarge({length, limit}): it has more bytes than can be sent;
  // on.progress(share), optional: of a long text that arrives; null when the rest of it will not come.
  constructor(way, on) {
    this.#way = way;
    this.#on = on;
  }

  // Requests the host's text. Returns whether the request was sent.
  request() {
    return this.#send({ type: 'clipboard_request', parts: true });
  }

  // Sets whether copies on the host are reported from now on, also on later connections.
  watch(enabled) {
    this.#watching = enabled;
    this.#send({ type: 'clipboard_sync_enabled', enabled, parts: true });
  }

  // Puts `text` on the host's clipboard. Resolves to "set", or to the reason why not: "too-large", "replaced" by a
  // newer text, "closed" (the connection), or "silent" (the host does not acknowledge it). progress(share): of a long text, 0 to 1.
  set(text, progress = () => {}) {
    this.#end('replaced');
    if (utf8Length(text) > MAX_TEXT_BYTES) return Promise.resolve('too-large');
    const channel = this.#way.channel();
    if (!channel) return Promise.resolve('closed');
    const id = ++this.#transfers;
    const outgoing = { id, req: `clipboard ${id}`, progress, end: null };
    const outcome = new Promise((resolve) => (outgoing.end = resolve));
    this.#outgoing = outgoing;
    this.#awaitHost();
    const maximum = Math.min(MAX_PIECE_MESSAGE, this.#way.limit()) - ENVELOPE;
    const ends = pieceEnds(text, maximum);
    if (ends.length <= 1) channel.send(JSON.stringify({ type: 'clipboard_set', text, req: outgoing.req }));
    else this.#sendPieces(channel, outgoing, text, ends);
    return outcome;
  }

  // Resolves when the host's desktop has the text that was set: the host reads its clipboard only after that. Resolves to
  // what it holds, or to null when that is too long for one message, or the host does not answer.
  settled() {
    return new Promise((resolve) => {
      this.#endSettling();
      this.#settling = { resolve, timer: setTimeout(() => this.#endSettling(), MAX_SETTLE_MS) };
      // Without "parts" a long text is not sent back.
      if (!this.#send({ type: 'clipboard_request' })) this.#endSettling();
    });
  }

  // The reliable channel has opened or closed.
  setReady(ready) {
    if (ready) {
      if (this.#watching) this.watch(true);
    } else {
      this.#dropIncoming();
      this.#end('closed');
      this.#endSettling();
    }
  }

  // A message of the host; those that are not about the clipboard are ignored.
  receive(message) {
    if (message.type === 'clipboard_sync') this.#received(message);
    else if (message.type === 'clipboard_too_large') this.#refused(message);
    else if (message.type === 'ack' && this.#outgoing && message.req === this.#outgoing.req) this.#end('set');
  }

  #received(message) {
    if (Number.isInteger(message.parts)) {
      this.#receivedPiece(message);
    } else if (typeof message.text === 'string') {
      this.#dropIncoming();
      this.#endSettling(message.text);
      this.#on.text(message.text);
    }
  }

  #receivedPiece(message) {
    const before = this.#incoming.share;
    const whole = this.#incoming.take(message);
    const { share } = this.#incoming;
    if (whole !== null) {
      clearTimeout(this.#pause);
      this.#on.progress?.(1);
      this.#on.text(whole);
    } else if (share > 0 && share !== before) {
      clearTimeout(this.#pause);
      this.#pause = setTimeout(() => this.#breakOff(), MAX_PAUSE_MS);
      this.#on.progress?.(share);
    } else if (before > 0 && share === 0) {
      this.#breakOff();
    }
  }

  #breakOff() {
    this.#dropIncoming();
    this.#on.progress?.(null);
  }

  #dropIncoming() {
    clearTimeout(this.#pause);
    this.#incoming.drop();
  }

  // With an id it is the viewer's own text that is too long for the host.
  #refused({ id, length, limit }) {
    if (id !== undefined) {
      if (id === this.#outgoing?.id) this.#end('too-large');
      return;
    }
    // The answer to settled(), for which no text was wanted.
    if (this.#settling && limit < MAX_TEXT_BYTES) return this.#endSettling();
    this.#dropIncoming();
    this.#on.tooLarge({ length, limit });
  }

  async #sendPieces(channel, outgoing, text, ends) {
    const length = utf8Length(text);
    const parts = ends.length;
    for (let part = 0; part < parts; part++) {
      while (channel.readyState === 'open' && channel.bufferedAmount > MAX_WAITING) await hasRoom(channel);
      if (this.#outgoing !== outgoing || channel.readyState !== 'open') return;
      const piece = { id: outgoing.id, part, parts, length, text: text.slice(ends[part - 1] ?? 0, ends[part]) };
      const req = part === parts - 1 ? { req: outgoing.req } : {};
      channel.send(JSON.stringify({ type: 'clipboard_set', ...piece, ...req }));
      this.#awaitHost();
      outgoing.progress((part + 1) / parts);
    }
  }

  #send(message) {
    const channel = this.#way.channel();
    channel?.send(JSON.stringify(message));
    return Boolean(channel);
  }

  #endSettling(text = null) {
    clearTimeout(this.#settling?.timer);
    this.#settling?.resolve(text);
    this.#settling = null;
  }

  #awaitHost() {
    clearTimeout(this.#silence);
    this.#silence = setTimeout(() => this.#end('silent'), MAX_SILENCE_MS);
  }

  #end(outcome) {
    clearTimeout(this.#silence);
    this.#outgoing?.end(outcome);
    this.#outgoing = null;
  }
}

// Resolves when half of the waiting bytes have been sent, or the channel has closed.
function hasRoom(channel) {
  channel.bufferedAmountLowThreshold = MAX_WAITING / 2;
  return new Promise((resolve) => {
    const done = () => {
      channel.removeEventListener('bufferedamountlow', done);
      channel.removeEventListener('close', done);
      resolve();
    };
    channel.addEventListener('bufferedamountlow', done);
    channel.addEventListener('close', done);
  });
}
