// Tells a screen that cannot be recorded from one whose picture is still to come.

// A host that may record its screen has the first picture within a fraction of a second.
const PATIENCE_MS = 3000;

export class CaptureWatch {
  #onChange;
  #timer = 0;
  #failed = false;

  // onChange(failed): called when the answer changes.
  constructor(onChange) {
    this.#onChange = onChange;
  }

  get failed() {
    return this.#failed;
  }

  // "host_stats", several times a second while connected.
  receive({ capture, lastCaptureNs }) {
    if (capture !== 'screen' || lastCaptureNs !== 0) this.reset();
    else this.#timer ||= setTimeout(() => this.#set(true), PATIENCE_MS);
  }

  // The connection has ended, and what was known of it.
  reset() {
    clearTimeout(this.#timer);
    this.#timer = 0;
    this.#set(false);
  }

  #set(failed) {
    if (failed === this.#failed) return;
    this.#failed = failed;
    this.#onChange(failed);
  }
}
