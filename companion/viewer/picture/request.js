// Which quality the host is asked for, and when.

// Preset names of the host. "native" is the size of the display that is shared, so nothing is stretched or blurred.
export const DEFAULT_PRESET = 'native';

export class QualityRequest {
  #send;
  #preset = DEFAULT_PRESET;
  #chosen = false;
  #source = null;

  // send(message): reaches the host reliably.
  constructor(send) {
    this.#send = send;
  }

  // The viewer's own choice; it holds for later connections too.
  choose(preset) {
    this.#preset = preset;
    this.#chosen = true;
    this.#ask();
  }

  // The channels to the host have opened or closed: the host may be another one, or have restarted.
  reset() {
    this.#source = null;
  }

  // "host_stats": asks when a connection begins, and again when another source is shared, since its size follows from
  // the display. A test picture keeps the size that it was set up with unless the viewer chose one.
  receive({ capture, displayIndex }) {
    const source = `${capture} ${displayIndex}`;
    if (source === this.#source) return;
    this.#source = source;
    if (capture === 'screen' || this.#chosen) this.#ask();
  }

  #ask() {
    this.#send({ type: 'quality', preset: this.#preset });
  }
}
