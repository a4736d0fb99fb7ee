// The conversation of the room, while the page is open.

const MAX_LINES = 500;
const MAX_SAID = 20;
const MAX_NAME = 64;
const MAX_TEXT = 4000;

// Reactions of the room, by the name that they have on the wire: [symbol, what people read].
export const REACTIONS = {
  thumbs_up: ['\u{1F44D}', 'Thumbs up'],
  clap: ['\u{1F44F}', 'Clap'],
  check: ['\u2705', 'Check'],
  question: ['\u2753', 'Question'],
  coffee: ['\u2615\uFE0F', 'Coffee'],
  rocket: ['\u{1F680}', 'Rocket'],
  heart: ['\u2764\uFE0F', 'Heart'],
};

// A line of a message of the room: {from, text, at (Date), fromHost, reaction}; null for one that is not for the chat.
// Pure.
export function chatLine(message, now = Date.now()) {
  const from = (typeof message.from === 'string' && message.from ? message.from : '?').slice(0, MAX_NAME);
  const fromHost = from.toLowerCase() === 'host';
  if (message.type === 'chat_broadcast' && typeof message.text === 'string') {
    const at = new Date(Number.isFinite(message.ts) ? message.ts : now);
    return { from, fromHost, text: message.text.slice(0, MAX_TEXT), at: Number.isNaN(at.getTime()) ? new Date(now) : at, reaction: false };
  }
  if (message.type === 'reaction_broadcast') {
    const known = Object.hasOwn(REACTIONS, message.reaction);
    return { from, fromHost, text: known ? REACTIONS[message.reaction][0] : '\u{1F514}', at: new Date(now), reaction: true };
  }
  return null;
}

export class ChatLog {
  #app;
  #lines = [];
  #listeners = new Set();
  // What this page has said and the room has not sent back yet.
  #said = [];

  constructor(app) {
    this.#app = app;
    app.on('signal', (message) => {
      const line = chatLine(message);
      if (!line) return;
      const own = line.fromHost ? -1 : this.#said.indexOf(line.text);
      if (own >= 0) this.#said.splice(own, 1);
      line.own = own >= 0;
      this.#lines.push(line);
      if (this.#lines.length > MAX_LINES) this.#lines.shift();
      for (const listener of this.#listeners) listener(line);
    });
  }

  // Oldest first.
  get lines() {
    return this.#lines;
  }

  onLine(listener) {
    this.#listeners.add(listener);
  }

  // Whether the line went out; it is shown when the room sends it back.
  say(text) {
    const sent = this.#app.signal({ type: 'chat_send', text });
    if (sent) this.#said.push(text);
    if (this.#said.length > MAX_SAID) this.#said.shift();
    return sent;
  }

  react(reaction) {
    return this.#app.signal({ type: 'reaction_send', reaction });
  }
}
