// The reports that were requested in this session.

import { isObject } from './values.js';

const MAX_REPORTS = 5;
// The host needs ten seconds at most, and more when it is very busy.
const ANSWER_TIMEOUT_MS = 45000;
// A real report has 64 000 bytes at most.
const MAX_LENGTH = 256 * 1024;
// The host answers no more requests at once.
const MAX_OUTSTANDING = 8;

export class Reports {
  #send;
  #onChange;
  #reports = [];
  #outstanding = 0;
  #count = 0;
  #timer = 0;
  #since = 0;

  // "", or why the last request gave no report: "silent", "lost", "unreadable", "full" (the host has left so many
  // unanswered that it takes no more, and none was sent).
  problem = '';

  // send(message): whether it went out. onChange(added): the report that has arrived, or null.
  constructor(send, onChange) {
    this.#send = send;
    this.#onChange = onChange;
  }

  // Newest first: {number, report, at (ms), seconds (that it took), host, room}.
  get reports() {
    return this.#reports;
  }

  get waiting() {
    return this.#timer !== 0;
  }

  // The report before that one, or null.
  before(kept) {
    return this.#reports[this.#reports.indexOf(kept) + 1] ?? null;
  }

  // Returns whether the request was sent.
  run() {
    if (this.waiting) return false;
    if (this.#outstanding >= MAX_OUTSTANDING) {
      this.#end('full');
      return false;
    }
    if (!this.#send({ type: 'diagnostics_run' })) return false;
    this.#outstanding += 1;
    this.#since = Date.now();
    this.#timer = setTimeout(() => this.#end('silent'), ANSWER_TIMEOUT_MS);
    this.problem = '';
    this.#onChange(null);
    return true;
  }

  // "diagnostics_result"; `source`: {host, room}. One that was not requested is ignored; one after the timeout is not.
  receive(message, source) {
    if (this.#outstanding === 0) return;
    this.#outstanding -= 1;
    const report = message.payload;
    if (!isObject(report) || !isShort(report)) {
      this.#end('unreadable');
      return;
    }
    const at = Date.now();
    const kept = { number: ++this.#count, report, at, seconds: (at - this.#since) / 1000, ...source };
    this.#reports.unshift(kept);
    this.#reports.length = Math.min(this.#reports.length, MAX_REPORTS);
    this.#end('', kept);
  }

  // The channel has closed; the host drops the reports that were requested on it.
  lose() {
    this.#outstanding = 0;
    if (this.waiting) this.#end('lost');
    else if (this.problem === 'full') this.#end('');
  }

  #end(problem, kept = null) {
    clearTimeout(this.#timer);
    this.#timer = 0;
    this.problem = problem;
    this.#onChange(kept);
  }
}

// Nested as deeply as the parser allows, an object may be too deep to be written again.
function isShort(report) {
  try {
    return JSON.stringify(report).length <= MAX_LENGTH;
  } catch {
    return false;
  }
}
