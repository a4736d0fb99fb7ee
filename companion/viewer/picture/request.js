// Which quality the host is asked for, and when.

// Preset names of the host. "native" is the size of the display that is shared, so nothing is stretched or blurred.
const ORIGINAL = 'native';
// Instead of a preset: the original size, with less where the processors are busy.
export const AUTOMATIC = 'automatic';

const CALM_FPS = 30;
const BITS_PER_PIXEL = 0.1;
const MIN_KBPS = 3000;

export class QualityRequest {
  #send;
  #preset = AUTOMATIC;
  #chosen = false;
  #level = 'full';
  #source = null;
  // The size of the display as it is sent, once known.
  #size = null;

  // send(message): reaches the host reliably.
  constructor(send) {
    this.#send = send;
  }

  // AUTOMATIC, or the preset that the viewer chose.
  get preset() {
    return this.#preset;
  }

  // The viewer's own choice, which may be AUTOMATIC; it holds for later connections too.
  choose(preset) {
    this.#preset = preset;
    this.#chosen = true;
    this.#ask();
  }

  // How much is asked for while the choice is automatic: see LEVELS of automatic.js.
  setLevel(level) {
    if (level === this.#level) return;
    this.#level = level;
    if (this.#preset === AUTOMATIC && this.#source !== null) this.#ask();
  }

  // The channels to the host have opened or closed: the host may be another one, or have restarted.
  reset() {
    this.#source = null;
  }

  // "host_stats": asks when a connection begins, and again when another source is shared, since its size follows from
  // the display. A test picture keeps the size that it was set up with unless the viewer chose one.
  receive({ capture, displayIndex, preset, width, height }) {
    if (preset === ORIGINAL && width > 0 && height > 0) this.#size = { width, height };
    const source = `${capture} ${displayIndex}`;
    if (source === this.#source) return;
    this.#source = source;
    if (capture === 'screen' || this.#chosen) this.#ask();
  }

  #ask() {
    if (this.#preset !== AUTOMATIC) {
      this.#send({ type: 'quality', preset: this.#preset });
    } else if (this.#level === 'small') {
      this.#send({ type: 'quality', preset: (this.#size?.height ?? 0) > 1080 ? 'high' : 'medium' });
    } else {
      this.#send({ type: 'quality', preset: ORIGINAL });
      if (this.#level === 'calm') this.#send({ type: 'video_params', fps: CALM_FPS, maxBitrateKbps: this.#calmKbps() });
    }
  }

  #calmKbps() {
    const { width, height } = this.#size ?? { width: 1920, height: 1080 };
    return Math.max(MIN_KBPS, Math.round((width * height * CALM_FPS * BITS_PER_PIXEL) / 1000));
  }
}
