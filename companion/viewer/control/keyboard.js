// Keys pressed on the shared screen, sent to the host.

import { KNOWN_CODES, NO_MODIFIERS, modifiersOf, needsAltGraph } from './keys.js';

// Leaves the screen for the tool bar; the host has no such key.
const LEAVE_KEY = 'F6';

export class KeyboardForwarder {
  #send;
  #isActive;
  #onLeave;
  #onUnsendable;
  #leavesDefault;
  #held = new Set();

  // `element` takes the keyboard focus; send(message) reaches the host reliably; onUnsendable() is called for a key
  // that the host would misinterpret; leavesDefault(event) decides, before a key is sent, whether the browser handles it
  // as well.
  constructor(element, { send, isActive, onLeave, onUnsendable, leavesDefault = () => false }) {
    this.#send = send;
    this.#isActive = isActive;
    this.#onLeave = onLeave;
    this.#onUnsendable = onUnsendable;
    this.#leavesDefault = leavesDefault;
    element.addEventListener('keydown', (event) => this.#down(event));
    element.addEventListener('keyup', (event) => this.#up(event));
    element.addEventListener('blur', () => this.releaseAll());
  }

  // Releases every key that the host regards as down.
  releaseAll() {
    for (const code of this.#held) this.#send({ type: 'keyUp', code, mods: NO_MODIFIERS });
    this.#held.clear();
  }

  #down(event) {
    if (!this.#isActive()) return;
    if (event.code === LEAVE_KEY) {
      event.preventDefault();
      this.#onLeave();
      return;
    }
    // A lone Alt or Meta would open the browser's menu.
    if (event.key === 'Alt' || event.key === 'Meta') event.preventDefault();
    if (!KNOWN_CODES.has(event.code)) return;
    if (!this.#leavesDefault(event)) event.preventDefault();
    if (needsAltGraph(event)) {
      this.#onUnsendable();
      return;
    }
    this.#held.add(event.code);
    this.#send({ type: 'keyDown', code: event.code, mods: modifiersOf(event) });
  }

  #up(event) {
    // Some systems report no release of keys that go up while Meta is held.
    if (event.key === 'Meta') this.releaseAll();
    if (!this.#held.delete(event.code)) return;
    event.preventDefault();
    this.#send({ type: 'keyUp', code: event.code, mods: modifiersOf(event) });
  }
}
