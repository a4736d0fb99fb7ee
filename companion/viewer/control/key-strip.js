// Keys that keyboards on a screen do not have, in a row below the picture while such a keyboard is in use.

import { make, makeButton, show } from '../shell/dom.js';
import { NO_MODIFIERS } from './keys.js';

const MODIFIERS = [['Ctrl', 'ctrl'], ['Alt', 'alt'], ['Shift', 'shift']];
// [text, code, name]
const KEYS = [
  ['Super', 'MetaLeft'],
  ['←', 'ArrowLeft', 'Left'], ['↑', 'ArrowUp', 'Up'], ['↓', 'ArrowDown', 'Down'], ['→', 'ArrowRight', 'Right'],
  ['Del', 'Delete'], ['Home', 'Home'], ['End', 'End'], ['PgUp', 'PageUp'], ['PgDn', 'PageDown'],
  ...Array.from({ length: 12 }, (_, index) => [`F${index + 1}`, `F${index + 1}`]),
];

export class KeyStrip {
  #strip = make('div', 'key-strip');
  #send;
  #modifiers = new Map();

  // send(message) reaches the host; onClose(): the viewer is done typing.
  constructor(parent, { send, onClose }) {
    this.#send = send;
    this.#strip.id = 'key-strip';
    this.#strip.hidden = true;
    this.#strip.setAttribute('role', 'toolbar');
    this.#strip.setAttribute('aria-label', 'More keys');
    // The text field keeps the keyboard focus, or the keyboard would go away.
    this.#strip.addEventListener('pointerdown', (event) => event.preventDefault());
    this.#strip.addEventListener('mousedown', (event) => event.preventDefault());
    const keys = make('div', 'key-strip-keys');
    keys.append(
      this.#key(['Esc', 'Escape']),
      this.#key(['Tab', 'Tab']),
      ...MODIFIERS.map(([text, name]) => this.#modifier(text, name)),
      ...KEYS.map((each) => this.#key(each)),
    );
    this.#strip.append(keys, makeButton({ text: 'Close the keyboard', iconName: 'close', iconOnly: true }, onClose));
    parent.append(this.#strip);
  }

  show(visible) {
    show(this.#strip, visible);
    if (!visible) this.takeModifiers();
  }

  contains(element) {
    return this.#strip.contains(element);
  }

  // The modifiers for the next key, such as {ctrl: true}, or null; they hold for one key.
  takeModifiers() {
    const chosen = [...this.#modifiers].filter(([, button]) => button.getAttribute('aria-pressed') === 'true');
    for (const [, button] of chosen) button.setAttribute('aria-pressed', 'false');
    if (chosen.length === 0) return null;
    return Object.fromEntries(chosen.map(([name]) => [name, true]));
  }

  #modifier(text, name) {
    const button = makeButton({ text }, () => {
      button.setAttribute('aria-pressed', String(button.getAttribute('aria-pressed') !== 'true'));
    });
    button.setAttribute('aria-pressed', 'false');
    this.#modifiers.set(name, button);
    return button;
  }

  #key([text, code, name = text]) {
    const button = makeButton({ text }, () => {
      this.#send({ type: 'key_press', code, mods: { ...NO_MODIFIERS, ...this.takeModifiers() } });
    });
    button.setAttribute('aria-label', name);
    return button;
  }
}
