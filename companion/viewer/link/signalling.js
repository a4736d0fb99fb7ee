// The WebSocket to the room server: joins as viewer, and reconnects after a loss.

import { Backoff } from './backoff.js';
import { parseMessage } from './message.js';

// A connection that lasted this long was a good one: the next loss starts with short delays again.
const STABLE_AFTER_MS = 5000;
// The system retries on a silent network ever less often: an attempt of this length retries at least every 2 s, and is
// then replaced by a new one.
const ATTEMPT_MS = 5000;

export class Signalling {
  #url;
  #join;
  #on;
  #socket = null;
  #backoff = new Backoff(500, 1000);
  #retry = 0;
  #attempt = 0;
  #openedAt = 0;
  #stopped = true;
  #staying = false;
  // The network was away while the connection before the next was open.
  #networkWasAway = false;

  // on.open(whether the network was away), on.message(object), on.lost(reason text)
  constructor({ url, room, name = '', token = '' }, on) {
    this.#url = url;
    this.#join = { type: 'join', room, role: 'viewer' };
    if (name) this.#join.name = name;
    if (token) this.#join.token = token;
    this.#on = on;
  }

  start() {
    this.#stopped = false;
    this.#connect();
    window.addEventListener('online', this.#networkIsBack);
  }

  stop() {
    this.#stopped = true;
    window.removeEventListener('online', this.#networkIsBack);
    clearTimeout(this.#retry);
    clearTimeout(this.#attempt);
    this.#retry = 0;
    this.#socket?.close();
    this.#socket = null;
  }

  // From now on a lost connection stays lost: joining again would take the room from another viewer.
  stay() {
    this.#staying = true;
  }

  // Opens another connection: the old one may be dead without a close event, as when the server ended while the network
  // was down.
  renew() {
    if (!this.#stopped && !this.#staying && this.#socket?.readyState === WebSocket.OPEN) this.#replace();
  }

  // Whether the message could be handed to the socket.
  send(message) {
    if (this.#socket?.readyState !== WebSocket.OPEN) return false;
    this.#socket.send(JSON.stringify(message));
    return true;
  }

  // A delay is pointless then. A connection that is open may belong to an address that is gone: what is sent on it is
  // lost without an event, and so are the host's offers.
  #networkIsBack = () => {
    if (this.#retry) {
      clearTimeout(this.#retry);
      this.#connect();
    } else {
      // The first attempt may fail: the browser ends what it opens while the network still changes.
      if (this.#socket?.readyState === WebSocket.OPEN) this.#networkWasAway = true;
      this.renew();
    }
  };

  #replace() {
    const old = this.#socket;
    this.#connect();
    old.close();
  }

  #connect() {
    this.#retry = 0;
    const socket = new WebSocket(this.#url);
    this.#socket = socket;
    clearTimeout(this.#attempt);
    this.#attempt = setTimeout(() => this.#replace(), ATTEMPT_MS);
    socket.addEventListener('open', () => {
      if (socket !== this.#socket) return;
      clearTimeout(this.#attempt);
      this.#openedAt = performance.now();
      this.send(this.#join);
      this.#on.open(this.#networkWasAway);
      this.#networkWasAway = false;
    });
    socket.addEventListener('message', (event) => {
      if (socket !== this.#socket) return;
      const message = parseMessage(event.data);
      if (message) this.#on.message(message);
    });
    socket.addEventListener('close', (event) => {
      if (socket !== this.#socket || this.#stopped) return;
      this.#socket = null;
      clearTimeout(this.#attempt);
      if (this.#openedAt && performance.now() - this.#openedAt > STABLE_AFTER_MS) this.#backoff.reset();
      this.#openedAt = 0;
      if (!this.#staying) this.#retry = setTimeout(() => this.#connect(), this.#backoff.next());
      this.#on.lost(event.reason);
    });
  }
}
