// The transfer of one file to the host over the reliable channel.

import { SendPace } from './pace.js';

// Read from the disk at once; the next block is read while one is sent. Blocks of 1 MiB cost a tenth of the rate.
const BLOCK = 4 * 1024 * 1024;
// Bytes that may wait in the browser.
const MAX_WAITING = 1024 * 1024;
const READY_MS = 20000;
// The host may still have to write what it has received.
const SAVED_MS = 75000;

class Stop extends Error {
  constructor(outcome) {
    super(outcome.result);
    this.outcome = outcome;
  }
}

const failed = (reason) => new Stop({ result: 'failed', reason });

// File systems have shorter names.
const MAX_NAME = 255;

export class Transfer {
  #savedAs = '';
  #channel;
  #file;
  #id;
  #name;
  #on;
  #pace = null;
  #limit;
  #sent = 0;
  #left = 0;
  #replies = new Map();
  #stop = null;
  #wake = () => {};
  #awaiting = false;

  // `channel`: the open reliable channel; `file`: {size, slice(from, to)}, as a File; `limit`: bytes a second at most.
  // on.state("starting" | "sending" | "finishing"), on.progress(): `left` has changed
  constructor(channel, { file, id, name, limit = Infinity }, on) {
    this.#channel = channel;
    this.#file = file;
    this.#id = id;
    this.#name = name;
    this.#limit = limit;
    this.#on = on;
  }

  // Bytes that have left the browser. Other messages that wait in the channel do not count.
  get left() {
    this.#left = Math.max(this.#left, this.#sent - this.#channel.bufferedAmount);
    return this.#left;
  }

  // Bytes that were handed to the channel.
  get sent() {
    return this.#sent;
  }

  // Whether the host may still answer something about this transfer's id: it must not be used for another one then.
  get awaitsReply() {
    return this.#awaiting;
  }

  // Resolves to {result: "saved", size, savedAs (the name on the host if it is another one)}, {result: "failed", reason}, {result: "lost"} (the connection) or
  // {result: "cancelled"}. Reasons: those of the host, and "no reply", "unconfirmed", "unreadable".
  async run() {
    const low = () => this.#wake();
    this.#channel.addEventListener('bufferedamountlow', low);
    const progress = setInterval(() => this.#on.progress(), 250);
    try {
      return await this.#exchange();
    } catch (error) {
      if (error instanceof Stop) return error.outcome;
      if (this.#channel.readyState !== 'open') return { result: 'lost' };
      throw error;
    } finally {
      clearInterval(progress);
      this.#channel.removeEventListener('bufferedamountlow', low);
    }
  }

  // A control message of the host.
  receive(message) {
    if (message.type === 'pong') this.#pace?.answered(message.t0, performance.now());
    else if (message.type === 'file_renamed') this.#renamed(message);
    else if (message.id === this.#id) this.#received(message);
    else return;
    this.#wake();
  }

  // Ends the transfer: what was sent stays on the host, unreadable.
  cancel() {
    this.#end({ result: 'cancelled' });
  }

  // The channel has closed.
  lose() {
    this.#end({ result: 'lost' });
  }

  #end(outcome) {
    this.#stop ??= outcome;
    this.#wake();
  }

  // No reply to anything: it only adds to the one before.
  #renamed({ id, savedAs }) {
    if (id === this.#id && typeof savedAs === 'string') this.#savedAs = savedAs.slice(0, MAX_NAME);
  }

  #received(message) {
    if (message.type === 'file_rejected') this.#end({ result: 'failed', reason: String(message.reason) });
    else this.#replies.set(message.type, message);
    this.#awaiting = false;
  }

  async #exchange() {
    this.#on.state('starting');
    await this.#ask({ type: 'file_start', id: this.#id, name: this.#name, size: this.#file.size }, 'file_ready', READY_MS, 'no reply');
    this.#on.state('sending');
    await this.#sendContent();
    this.#on.state('finishing');
    const { size } = await this.#ask({ type: 'file_end', id: this.#id }, 'file_saved', SAVED_MS, 'unconfirmed');
    return { result: 'saved', size: Number.isSafeInteger(size) ? size : 0, savedAs: this.#savedAs };
  }

  async #ask(message, type, timeout, reason) {
    this.#say(message);
    this.#awaiting = true;
    if (!(await this.#until(() => this.#replies.has(type), timeout))) throw failed(reason);
    return this.#replies.get(type);
  }

  async #sendContent() {
    this.#pace = new SendPace(performance.now(), { limit: this.#limit });
    const { size } = this.#file;
    let next = size > 0 ? this.#read(0) : null;
    for (let from = 0; from < size; from += BLOCK) {
      const block = await this.#content(next, Math.min(BLOCK, size - from));
      next = from + BLOCK < size ? this.#read(from + BLOCK) : null;
      await this.#sendBlock(block);
    }
  }

  #read(from) {
    const reading = this.#file.slice(from, from + BLOCK).arrayBuffer();
    // It may fail while nobody waits for it yet.
    reading.catch(() => {});
    return reading;
  }

  // A file that was changed or removed meanwhile cannot be read, or has fewer bytes.
  async #content(reading, length) {
    let block = null;
    try {
      block = new Uint8Array(await reading);
    } catch {
      // Told below.
    }
    if (this.#stop) throw new Stop(this.#stop);
    if (block?.length !== length) throw failed('unreadable');
    return block;
  }

  async #sendBlock(block) {
    for (let at = 0; at < block.length; ) {
      await this.#room();
      const piece = block.subarray(at, at + this.#pace.piece);
      this.#channel.send(piece);
      at += piece.length;
      this.#sent += piece.length;
      this.#pace.sent(piece.length);
      this.#mark();
    }
  }

  #mark() {
    const now = performance.now();
    if (!this.#pace.markDue(now)) return;
    const t0 = Date.now();
    this.#pace.mark(t0, now);
    this.#say({ type: 'ping', t0 });
  }

  async #room() {
    const hasRoom = () => {
      this.#mark();
      return this.#channel.bufferedAmount < MAX_WAITING && this.#pace.hasRoom;
    };
    await this.#until(hasRoom);
    const pause = this.#pace.wait(performance.now());
    if (pause > 0) await this.#until(() => false, pause);
  }

  #say(message) {
    this.#channel.send(JSON.stringify(message));
  }

  // Waits for a condition, which is checked when a message arrives, when the channel has room and when the transfer is
  // ended; then it throws. Whether it became true within `timeout` milliseconds.
  async #until(isTrue, timeout = Infinity) {
    let expired = false;
    const timer = timeout === Infinity ? 0 : setTimeout(() => {
      expired = true;
      this.#wake();
    }, timeout);
    try {
      for (;;) {
        if (this.#stop) throw new Stop(this.#stop);
        if (isTrue()) return true;
        if (expired) return false;
        this.#channel.bufferedAmountLowThreshold = MAX_WAITING / 2;
        await new Promise((resolve) => (this.#wake = resolve));
      }
    } finally {
      clearTimeout(timer);
    }
  }
}
