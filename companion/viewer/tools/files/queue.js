// Files on their way to the host, one after the other: a binary message does not say to which file it belongs.

import { RateMeter } from './pace.js';
import { Transfer } from './transfer.js';

// Files that may wait, and finished ones that are kept to be seen.
export const MAX_WAITING = 200;
const MAX_FINISHED = 200;
// Attempts for one file when the connection is lost or the host's disk is too slow.
const MAX_ATTEMPTS = 4;
// What the host keeps in memory for its disk.
const HOST_BACKLOG = 64 * 1024 * 1024;
const MAX_NAME = 1000;
// Reasons that hold for the files behind this one as well.
const FOR_ALL = new Set(['disabled', 'no reply']);

const ENDED = new Set(['saved', 'short', 'failed', 'cancelled']);
export const isEnded = (entry) => ENDED.has(entry.state);

// The queue of the page, made when it is first needed.
export function fileQueue(app) {
  app.files ??= new FileQueue(app);
  return app.files;
}

export class FileQueue {
  #app;
  #entries = [];
  #listeners = new Set();
  #count = 0;
  #current = null;
  #transfer = null;
  #guarded = false;
  // A binary message goes to the open transfer whose id sorts first, so each new id sorts before the older ones. The
  // same one again ends an abandoned transfer, which leaves its file unreadable.
  #id = 99_999_999;

  constructor(app) {
    this.#app = app;
    app.on('message', (message) => this.#transfer?.receive(message));
    app.on('reliable', (open) => {
      if (!open) this.#transfer?.lose();
      this.#proceed();
    });
  }

  // Oldest first, each {key, file, name, size, state, left, rate, reason, stored, note, begun, whole}. States: "waiting", "starting",
  // "sending", "finishing", then "saved", "short" (`stored` bytes), "failed" (`reason`), "cancelled". `left`:
  // bytes that have left the browser; `begun`: the host may have created the file; `whole`: it was cancelled when all had been sent.
  get entries() {
    return this.#entries;
  }

  get active() {
    return this.#entries.filter((entry) => !isEnded(entry));
  }

  // listener(entry) after a change of one file, listener(null) after a change of the list.
  onChange(listener) {
    this.#listeners.add(listener);
  }

  // Adds files (as File) to the end. Returns how many did not fit.
  add(files) {
    const taken = files.slice(0, Math.max(0, MAX_WAITING - this.active.length));
    for (const file of taken) {
      this.#entries.push({ key: ++this.#count, file, name: file.name.slice(0, MAX_NAME) || 'file', size: file.size, ...fresh(), attempts: 0 });
    }
    this.#trim();
    this.#changed(null);
    this.#proceed();
    return files.length - taken.length;
  }

  cancel(entry) {
    if (entry === this.#current) this.#transfer?.cancel();
    else if (!isEnded(entry)) this.#set(entry, { state: 'cancelled' });
  }

  cancelAll() {
    for (const entry of this.active.reverse()) this.cancel(entry);
  }

  // Puts a file that was not stored at the end of the queue again.
  retry(entry) {
    if (!isEnded(entry) || !this.#entries.includes(entry)) return;
    this.#entries = this.#entries.filter((each) => each !== entry);
    Object.assign(entry, fresh(), { attempts: 0, limit: Infinity });
    this.#entries.push(entry);
    this.#changed(null);
    this.#proceed();
  }

  clearEnded() {
    this.#entries = this.#entries.filter((entry) => !isEnded(entry));
    this.#changed(null);
  }

  async #proceed() {
    if (this.#current) return;
    const channel = this.#app.channel();
    const entry = this.#entries.find(({ state }) => state === 'waiting');
    if (!channel || !entry) return;
    this.#current = entry;
    entry.attempts += 1;
    try {
      this.#ended(entry, await this.#send(entry, channel));
    } catch (error) {
      this.#set(entry, { state: 'failed', reason: 'error' });
      reportError(error);
    }
    this.#current = null;
    this.#transfer = null;
    this.#proceed();
  }

  async #send(entry, channel) {
    const meter = new RateMeter();
    const started = performance.now();
    const transfer = new Transfer(channel, { file: entry.file, id: String(this.#id), name: entry.name, limit: entry.limit }, {
      state: (state) => this.#set(entry, { state, begun: true }),
      progress: () => {
        meter.add(transfer.left, performance.now());
        this.#set(entry, { left: transfer.left, rate: meter.rate });
      },
    });
    this.#transfer = transfer;
    const outcome = await transfer.run();
    if (outcome.result === 'saved' || transfer.awaitsReply) this.#id -= 1;
    entry.left = transfer.sent;
    if (outcome.reason === 'overloaded') entry.limit = bearable(performance.now() - started, entry.limit);
    return outcome;
  }

  #ended(entry, { result, reason = '', size = 0, savedAs = '' }) {
    const again = entry.attempts < MAX_ATTEMPTS;
    if (result === 'saved') this.#set(entry, size === entry.size ? { state: 'saved', savedAs } : { state: 'short', stored: size });
    else if (result === 'cancelled') this.#set(entry, { state: 'cancelled', whole: entry.state === 'finishing' });
    else if (result === 'lost' && again) this.#set(entry, { ...fresh(), note: 'starts again when the connection is back' });
    else if (reason === 'overloaded' && again) this.#set(entry, { ...fresh(), note: 'the disk of the host is slow, starts again' });
    else this.#fail(entry, result === 'lost' ? 'lost' : reason);
  }

  #fail(entry, reason) {
    this.#set(entry, { state: 'failed', reason });
    if (!FOR_ALL.has(reason)) return;
    for (const waiting of this.active) this.#set(waiting, { state: 'failed', reason });
  }

  #set(entry, values) {
    Object.assign(entry, values);
    this.#changed(entry);
  }

  #changed(entry) {
    this.#guardPage(this.active.length > 0);
    for (const listener of this.#listeners) listener(entry);
  }

  // The browser asks before it closes a page that still sends. A page that always asked would not be kept in its memory.
  #guardPage(busy) {
    if (busy === this.#guarded) return;
    this.#guarded = busy;
    if (busy) globalThis.addEventListener?.('beforeunload', askBeforeLeaving);
    else globalThis.removeEventListener?.('beforeunload', askBeforeLeaving);
  }

  #trim() {
    const ended = this.#entries.filter(isEnded);
    const surplus = new Set(ended.slice(0, Math.max(0, ended.length - MAX_FINISHED)));
    this.#entries = this.#entries.filter((entry) => !surplus.has(entry));
  }
}

function askBeforeLeaving(event) {
  event.preventDefault();
}

const fresh = () => ({ state: 'waiting', left: 0, rate: null, reason: '', stored: 0, note: '', begun: false, whole: false });

// Bytes a second that the host's disk surely keeps up with: the refusal comes when it has stored what the host accepted,
// which is more than fits into its memory.
function bearable(ms, previous = Infinity) {
  return Math.min(previous / 2, (HOST_BACKLOG * 1000) / Math.max(ms, 1000));
}
