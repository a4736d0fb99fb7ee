// The two control channels, and the right to control that is granted over them.

import { parseMessage } from '../link/message.js';

const PING_PERIOD_MS = 2000;
// Pointer moves are not worth queueing behind each other.
const MAX_LOSSY_BACKLOG = 64 * 1024;
const RECENT_MESSAGES = 300;
// UTF-16 units of all of them together.
const RECENT_LENGTH = 1024 * 1024;
// Types of messages of which the newest is kept, and its length; the protocol has fewer, and longer ones are of no use
// later.
const MAX_TYPES = 64;
const MAX_KEPT_LENGTH = 65536;

export class Control {
  #on;
  #channels = new Map();
  #state = 'locked';
  #wanted = false;
  #token = null;
  #provenToken = null;
  #proven = false;
  #proving = false;
  #pinger = 0;
  #ready = false;

  // The newest message of each type, unless that is long, and the most recent ones of all types, oldest first.
  lastMessages = Object.create(null);
  recentMessages = [];
  #recentLengths = [];
  #recentLength = 0;

  // on.state("locked" | "denied" | "on" | "off"), on.message(any message of the host),
  // on.roundTrip(ms), on.ready(bool), on.reliable(bool): whether "control_reliable" is open, on.refused()
  constructor(on) {
    this.#on = on;
  }

  get state() {
    return this.#state;
  }

  get active() {
    return this.#state === 'on';
  }

  // Whether a PIN that was right before has been sent by itself and the host has not said yet whether it still is.
  get proving() {
    return this.#proving;
  }

  channels() {
    return Object.fromEntries(this.#channels);
  }

  // The reliable channel while it is open, else null.
  reliableChannel() {
    const channel = this.#channels.get('control_reliable');
    return channel?.readyState === 'open' ? channel : null;
  }

  // A channel that the host opened. A newer one of the same label takes the place of the older.
  adopt(channel) {
    if (channel.label !== 'control' && channel.label !== 'control_reliable') return;
    this.#channels.set(channel.label, channel);
    const isCurrent = () => this.#channels.get(channel.label) === channel;
    channel.addEventListener('message', ({ data }) => {
      const message = parseMessage(data);
      if (message && isCurrent()) this.#received(message, data.length);
    });
    channel.addEventListener('close', () => {
      if (!isCurrent()) return;
      this.#channels.delete(channel.label);
      if (channel.label === 'control_reliable') this.#on.reliable(false);
      this.#loseRights();
    });
    if (channel.readyState === 'open') this.#opened(channel.label);
    else channel.addEventListener('open', () => isCurrent() && this.#opened(channel.label));
  }

  // The connection is gone, and its channels with it.
  drop() {
    this.#channels.clear();
    this.#on.reliable(false);
    this.#loseRights();
  }

  // Whether the message was handed to a channel. What need not be reliable goes over the lossy channel if that is open,
  // and is dropped when too much waits there already.
  send(message, { reliable = true } = {}) {
    const lossy = this.#channels.get('control');
    const sure = this.#channels.get('control_reliable');
    const order = reliable ? [sure] : [lossy, sure];
    const channel = order.find((candidate) => candidate?.readyState === 'open');
    if (!channel) return false;
    if (!reliable && channel.bufferedAmount > MAX_LOSSY_BACKLOG) return false;
    channel.send(JSON.stringify(message));
    return true;
  }

  // Sends the PIN to the host and requests control.
  unlock(token) {
    this.#token = token;
    this.#proving = false;
    this.#wanted = true;
    this.send({ type: 'auth', token });
  }

  enable() {
    this.#wanted = true;
    this.send({ type: 'control', enable: true });
  }

  giveBack() {
    this.#wanted = false;
    this.send({ type: 'control', enable: false });
  }

  // The reliable channel is enough to begin. The host resets the rights when either channel closes: a new "control"
  // channel beside the same reliable channel is a beginning as well.
  #opened(label) {
    if (label === 'control_reliable') this.#on.reliable(true);
    else if (this.#ready || !this.reliableChannel()) return;
    this.#ready = true;
    clearInterval(this.#pinger);
    const ping = () => this.send({ type: 'ping', t0: Date.now() });
    this.#pinger = setInterval(ping, PING_PERIOD_MS);
    ping();
    this.#proving = this.#provenToken !== null;
    this.#on.ready(true);
    // The host resets the right to control with every connection. A viewer who proved it once on this page need not
    // type the PIN again after a short network failure.
    if (this.#proving) {
      this.#token = this.#provenToken;
      this.send({ type: 'auth', token: this.#provenToken });
    }
  }

  #loseRights() {
    clearInterval(this.#pinger);
    this.#proven = false;
    this.#proving = false;
    this.#ready = false;
    this.#setState('locked');
    this.#on.ready(false);
  }

  #received(message, length) {
    this.#remember(message, length);
    if (message.type === 'auth') this.#authReceived(message.ok === true);
    else if (message.type === 'control_state') this.#controlStateReceived(message.enabled === true);
    else if (message.type === 'pong') this.#pongReceived(message.t0);
    this.#on.message(message);
  }

  // Pieces of a long text are not kept: hundreds of them are megabytes.
  #remember(message, length) {
    if (Number.isInteger(message.parts)) return;
    if (length > MAX_KEPT_LENGTH) {
      delete this.lastMessages[message.type];
    } else if (message.type in this.lastMessages || Object.keys(this.lastMessages).length < MAX_TYPES) {
      this.lastMessages[message.type] = message;
    }
    this.recentMessages.push(message);
    this.#recentLengths.push(length);
    this.#recentLength += length;
    while (this.recentMessages.length > RECENT_MESSAGES || this.#recentLength > RECENT_LENGTH) {
      this.recentMessages.shift();
      this.#recentLength -= this.#recentLengths.shift();
    }
  }

  #authReceived(ok) {
    const silent = this.#token !== null && this.#token === this.#provenToken;
    this.#proven = ok;
    this.#proving = false;
    if (ok) {
      this.#provenToken = this.#token;
      this.#setState('off');
      if (this.#wanted) this.enable();
    } else {
      this.#provenToken = null;
      this.#setState(silent ? 'locked' : 'denied');
    }
  }

  #controlStateReceived(enabled) {
    if (enabled) this.#setState('on');
    else if (this.#state === 'on' || this.#proven) this.#setState('off');
    if (!enabled && this.#wanted) {
      this.#wanted = false;
      this.#on.refused();
    }
  }

  #pongReceived(t0) {
    if (typeof t0 === 'number') this.#on.roundTrip(Math.max(0, Date.now() - t0));
  }

  #setState(state) {
    this.#state = state;
    this.#on.state(state);
  }
}
