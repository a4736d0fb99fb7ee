// Distinguishes a screen that cannot be recorded from one whose first frame is still to come.

// A host that may record its screen has the first frame within a fraction of a second.
const FIRST_FRAME_TIMEOUT_MS = 3000;

export class CaptureWatch {
  #onChange;
  #timer = 0;
  #failed = false;

  // onChange(failed): called when the result changes.
  constructor(onChange) {
    this.#onChange = onChange;
  }

  get failed() {
    return this.#failed;
  }

  // "host_stats", several times a second while connected.
  receive({ capture, lastCaptureNs }) {
    if (capture !== 'screen' || lastCaptureNs !== 0) this.reset();
    else this.#timer ||= setTimeout(() => this.#set(true), FIRST_FRAME_TIMEOUT_MS);
  }

  // The connection has ended: forgets its state.
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
