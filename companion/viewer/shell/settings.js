// What the page remembers from one visit to the next, in the browser's storage; without storage, until it is closed.
// Other tabs write there as well, so what is stored counts.

const PREFIX = 'vantora.';

export class Settings {
  #storage;
  // What could not be stored.
  #memory = new Map();

  // `storage`: as window.localStorage, or null.
  constructor(storage = availableStorage()) {
    this.#storage = storage;
  }

  // The stored value, or `fallback` when there is none or isValid(value) is false.
  get(name, fallback, isValid = (value) => typeof value === typeof fallback) {
    let value = this.#memory.get(name);
    try {
      value ??= JSON.parse(this.#storage?.getItem(PREFIX + name) ?? 'null');
    } catch {
      value = null;
    }
    return value !== null && value !== undefined && isValid(value) ? value : fallback;
  }

  set(name, value) {
    this.#memory.set(name, value);
    if (!this.#storage) return;
    try {
      this.#storage.setItem(PREFIX + name, JSON.stringify(value));
      this.#memory.delete(name);
    } catch {
      // Storage that is full or not permitted: the value holds until the page is closed.
    }
  }
}

// Browsers that block storage fail already at the access.
function availableStorage() {
  try {
    return window.localStorage;
  } catch {
    return null;
  }
}
