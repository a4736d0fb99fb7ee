// How long something has held, for decisions that must not follow every fluctuation. Pure.

export class Evidence {
  #needed;
  #seconds = 0;

  // needed: seconds until it counts as proven.
  constructor(needed) {
    this.#needed = needed;
  }

  // Once a second: whether it holds; null or undefined: nothing is known. What held for long is not disproven at once.
  note(holds, weight = 1) {
    if (holds === null || holds === undefined) return;
    this.#seconds = holds ? Math.min(this.#needed, this.#seconds + weight) : Math.max(0, this.#seconds - 1);
  }

  get proven() {
    return this.#seconds >= this.#needed;
  }

  forget() {
    this.#seconds = 0;
  }
}

// When a setting may change: not too soon after its last change, and later each time it returns to what it was.
export class Patience {
  #shortest;
  #longest;
  #pause;
  #changedAt = -Infinity;

  // In milliseconds.
  constructor(shortest, longest) {
    this.#shortest = shortest;
    this.#longest = longest;
    this.#pause = shortest;
  }

  allows(now) {
    return now - this.#changedAt >= this.#pause;
  }

  changed(now) {
    const flapping = now - this.#changedAt < 2 * this.#longest;
    this.#pause = flapping ? Math.min(this.#longest, 2 * this.#pause) : this.#shortest;
    this.#changedAt = now;
  }
}
