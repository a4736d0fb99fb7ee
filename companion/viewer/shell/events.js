// Named events between the parts of the page.

export class Events {
  #listeners = new Map();

  // Calls listener(...values) at each event; returns a function that ends that.
  on(name, listener) {
    const all = this.#listeners.get(name) ?? new Set();
    this.#listeners.set(name, all.add(listener));
    return () => all.delete(listener);
  }

  // A listener that fails does not keep the others from the event.
  emit(name, ...values) {
    for (const listener of [...(this.#listeners.get(name) ?? [])]) {
      try {
        listener(...values);
      } catch (error) {
        reportError(error);
      }
    }
  }
}
