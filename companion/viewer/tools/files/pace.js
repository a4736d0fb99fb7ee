// How fast a file may be sent: as fast as the link takes it, without a long queue in front of the viewer's keys and
// clicks, which travel on the same channel. Pings between the pieces show what has reached the host and how long it
// took. Pure: times are passed in, in milliseconds.

// The delay that the queue of a file may add.
const QUEUE_MS = 80;
// The window grows by this factor a round, as long as the link delivers faster.
const GROWTH = 1.25;
const START_WINDOW = 32 * 1024;
const MIN_WINDOW = 16 * 1024;
const MAX_WINDOW = 4 * 1024 * 1024;
const MAX_PIECE = 64 * 1024;
const MIN_PIECE = 4 * 1024;
const MARK_PERIOD_MS = 20;
// The best rate of this time counts: a moment in which a computer is busy is not a slow link.
const RATE_MEMORY_MS = 2000;

export class SendPace {
  #limit;
  #start;
  #sent = 0;
  #confirmed = 0;
  #confirmedAt;
  #window = START_WINDOW;
  #base = Infinity;
  #marks = [];
  #rates = [];

  // `limit`: bytes a second at most.
  constructor(now, { limit = Infinity } = {}) {
    this.#limit = limit;
    this.#start = now;
    this.#confirmedAt = now;
  }

  // Bytes that may be on the way to the host.
  get window() {
    return this.#window;
  }

  // Bytes that the host is known to have received.
  get confirmed() {
    return this.#confirmed;
  }

  // Bytes of the next piece.
  get piece() {
    return Math.min(MAX_PIECE, Math.max(MIN_PIECE, Math.floor(this.#window / 4)));
  }

  // Whether the window has room for another piece.
  get hasRoom() {
    return this.#sent - this.#confirmed < this.#window;
  }

  // Milliseconds until the limit allows another piece.
  wait(now) {
    return Math.max(0, (this.#sent / this.#limit) * 1000 - (now - this.#start));
  }

  sent(bytes) {
    this.#sent += bytes;
  }

  // Whether a ping should follow what has been sent; the caller then sends one and calls mark().
  markDue(now) {
    const last = this.#marks.at(-1);
    const unmarked = this.#sent - (last?.sent ?? this.#confirmed);
    // The first one, in front of everything, finds the delay of the empty link.
    if (this.#sent === 0) return !last && this.#base === Infinity;
    return unmarked > 0 && (!last || now - last.at >= MARK_PERIOD_MS || unmarked >= this.#window / 2);
  }

  // A ping with `t0` was sent.
  mark(t0, now) {
    this.#marks.push({ t0, at: now, sent: this.#sent, confirmed: this.#confirmed, confirmedAt: this.#confirmedAt });
  }

  // The answer to a ping has come; those to other pings are ignored.
  answered(t0, now) {
    const index = this.#marks.findIndex((mark) => mark.t0 === t0);
    if (index < 0) return;
    const mark = this.#marks[index];
    this.#marks.splice(0, index + 1);
    this.#base = Math.min(this.#base, now - mark.at);
    this.#confirmed = mark.sent;
    this.#confirmedAt = now;
    if (mark.sent === mark.confirmed) return;
    const rate = (mark.sent - mark.confirmed) / Math.max(now - mark.confirmedAt, 1);
    this.#rates = this.#rates.filter((old) => now - old.at < RATE_MEMORY_MS && old.rate > rate);
    this.#rates.push({ at: now, rate });
    const window = GROWTH * this.#rates[0].rate * (this.#base + QUEUE_MS);
    this.#window = Math.min(MAX_WINDOW, Math.max(MIN_WINDOW, window));
  }
}

// The rate of something that grows, over the last seconds.
export class RateMeter {
  #samples = [];

  // `amount` was reached at `now`.
  add(amount, now) {
    const last = this.#samples.at(-1);
    if (last && now - last.now < 200) return;
    this.#samples.push({ amount, now });
    while (this.#samples.length > 2 && now - this.#samples[0].now > 4000) this.#samples.shift();
  }

  // Per second; null while too little is known.
  get rate() {
    const [first, last] = [this.#samples[0], this.#samples.at(-1)];
    if (!first || last.now - first.now < 400) return null;
    return ((last.amount - first.amount) / (last.now - first.now)) * 1000;
  }
}
