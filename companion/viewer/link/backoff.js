// Growing delays between attempts.

export class Backoff {
  #first;
  #longest;
  #next;

  // Milliseconds.
  constructor(first, longest) {
    this.#first = first;
    this.#longest = longest;
    this.#next = first;
  }

  // The delay before the next attempt; it doubles with each call.
  next() {
    const delay = this.#next;
    this.#next = Math.min(delay * 2, this.#longest);
    return delay;
  }

  reset() {
    this.#next = this.#first;
  }
}
