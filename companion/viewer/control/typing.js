// Texts that the host types: cut into messages, each sent after the answer to the one before.

// What one message may hold, in code points. The host accepts 4000; shorter ones show how far it is and can be stopped.
export const MAX_PIECE = 400;
// A host that does not know the message never answers; one that types slowly needs some seconds for a piece.
const TIMEOUT_MS = 60000;
const MAX_REASON = 200;

let lastId = 0;

// The text in pieces of at most `limit` code points, with "\n" for the end of a line.
export function pieces(text, limit = MAX_PIECE) {
  const characters = [...text.replaceAll('\r\n', '\n')];
  const result = [];
  for (let start = 0; start < characters.length; start += limit) {
    result.push(characters.slice(start, start + limit).join(''));
  }
  return result;
}

// In code points.
export function lengthOf(text) {
  let length = 0;
  for (const character of text) if (character) length += 1;
  return length;
}

export class TextTyping {
  #send;
  #on;
  #queue = [];
  #id = '';
  #piece = 0;
  #stopping = false;
  // The piece that was under way when control ended.
  #lost = '';
  #timer = 0;
  #typed = 0;
  #sent = 0;
  #length = 0;

  // send(message): returns whether it went to the host. on({state, typed, length, reason}): state is "busy", "done" (as
  // far as the host has means), "refused" (by the host, with its reason), "silent" (it does not answer), "stopping" (the
  // piece under way is still typed), then "stopped", or "lost" (not sent, or the connection or control ended: told again
  // when the host says what it had typed until then); typed and length in code points.
  constructor(send, on) {
    this.#send = send;
    this.#on = on;
  }

  get busy() {
    return this.#id !== '';
  }

  start(text) {
    if (this.busy) return;
    this.#queue = pieces(text);
    this.#typed = 0;
    this.#sent = 0;
    this.#length = lengthOf(this.#queue.join(''));
    if (this.#queue.length > 0) this.#next();
  }

  // What was sent already is typed; nothing more is.
  stop() {
    if (!this.busy || this.#stopping) return;
    this.#stopping = true;
    this.#queue = [];
    this.#tell('stopping');
  }

  // Control has ended, and with it the piece under way.
  lose() {
    if (!this.busy) return;
    const id = this.#id;
    this.#end('lost');
    this.#lost = id;
  }

  // "text_typed" of the host.
  receive({ id, typed, reason }) {
    if (!id || (id !== this.#id && id !== this.#lost)) return;
    this.#typed += Number.isInteger(typed) ? Math.min(Math.max(typed, 0), this.#piece) : 0;
    if (id === this.#lost || reason === 'control ended') this.#end('lost');
    else if (typeof reason === 'string') this.#end('refused', reason.slice(0, MAX_REASON));
    else if (this.#queue.length > 0) this.#next();
    else this.#end(this.#stopping && this.#sent < this.#length ? 'stopped' : 'done');
  }

  #next() {
    const text = this.#queue.shift();
    this.#id = `text-${++lastId}`;
    this.#lost = '';
    this.#piece = lengthOf(text);
    this.#sent += this.#piece;
    clearTimeout(this.#timer);
    if (!this.#send({ type: 'type_text', text, id: this.#id })) {
      this.#end('lost');
      return;
    }
    this.#timer = setTimeout(() => this.#end('silent'), TIMEOUT_MS);
    this.#tell('busy');
  }

  #end(state, reason = '') {
    clearTimeout(this.#timer);
    this.#queue = [];
    this.#id = '';
    this.#lost = '';
    this.#stopping = false;
    this.#tell(state, reason);
  }

  #tell(state, reason = '') {
    this.#on({ state, typed: this.#typed, length: this.#length, reason });
  }
}
