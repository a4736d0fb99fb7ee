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

export const lengthOf = (text) => [...text].length;

export class TextTyping {
  #send;
  #on;
  #queue = [];
  #id = '';
  #piece = 0;
  #timer = 0;
  #typed = 0;
  #length = 0;

  // send(message): returns whether it went to the host. on({state, typed, length, reason}): state is "busy", "done" (as
  // far as the host has means), "refused" (by the host, with its reason), "silent" (it does not answer), "stopped" or
  // "lost" (not sent, or the connection or control ended); typed and length in code points.
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
    this.#length = lengthOf(this.#queue.join(''));
    if (this.#queue.length > 0) this.#next();
  }

  // What was sent already is typed; nothing more is.
  stop(state = 'stopped') {
    if (this.busy) this.#end(state);
  }

  // "text_typed" of the host.
  receive({ id, typed, reason }) {
    if (!this.busy || id !== this.#id) return;
    const count = Number.isInteger(typed) ? Math.min(Math.max(typed, 0), this.#piece) : 0;
    this.#typed += count;
    if (reason === 'control ended') this.#end('lost');
    else if (typeof reason === 'string') this.#end('refused', reason.slice(0, MAX_REASON));
    else if (this.#queue.length > 0) this.#next();
    else this.#end('done');
  }

  #next() {
    const text = this.#queue.shift();
    this.#id = `text-${++lastId}`;
    this.#piece = lengthOf(text);
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
    this.#tell(state, reason);
  }

  #tell(state, reason = '') {
    this.#on({ state, typed: this.#typed, length: this.#length, reason });
  }
}
