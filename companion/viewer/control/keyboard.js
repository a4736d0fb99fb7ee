// Keys pressed on the shared screen, sent to the host.

import { NO_MODIFIERS, keystrokeOf, modifiersOf } from './keys.js';

// Leaves the screen for the tool bar; the host gets it from the menu of keys.
const LEAVE_KEY = 'F6';

// Desktops and applications react to these alone.
const LONE_MODIFIERS = new Set(['AltLeft', 'MetaLeft', 'MetaRight']);

export class KeyboardForwarder {
  #send;
  #isActive;
  #onLeave;
  #leavesDefault;
  #chosenModifiers;
  #mac;
  // The codes of keys that the host regards as down, by those of the viewer's keys.
  #held = new Map();
  // The modifier that is down, until another key is: what it does alone, it does when it goes up.
  #lone = '';

  // Whether keys that type a character are sent as characters, see keystrokeOf().
  characters = false;

  // `element` takes the keyboard focus; a text field inside of it may have the focus as well, and its text is sent by
  // others (TextField). send(message) reaches the host reliably; onLeave(): the key that leaves the screen;
  // leavesDefault(event) decides, before a key is sent, whether the browser handles it as well; chosenModifiers(): those
  // that were chosen otherwise for the next key, such as {ctrl: true}, or null.
  constructor(element, { send, isActive, onLeave, leavesDefault = () => false, chosenModifiers = () => null, mac = isMac() }) {
    this.#send = send;
    this.#isActive = isActive;
    this.#onLeave = onLeave;
    this.#leavesDefault = leavesDefault;
    this.#chosenModifiers = chosenModifiers;
    this.#mac = mac;
    element.addEventListener('keydown', (event) => this.#down(event, event.target !== element));
    element.addEventListener('keyup', (event) => this.#up(event));
    element.addEventListener('focusout', () => this.releaseAll());
    for (const type of ['pointerdown', 'wheel']) {
      element.addEventListener(type, () => (this.#lone = ''), { passive: true });
    }
  }

  // Releases every key that the host regards as down.
  releaseAll() {
    for (const code of this.#held.values()) this.#send({ type: 'keyUp', code, mods: NO_MODIFIERS });
    this.#held.clear();
    this.#lone = '';
  }

  // `composes`: the event is of a text field.
  #down(event, composes) {
    if (!this.#isActive()) return;
    if (event.code === LEAVE_KEY) {
      event.preventDefault();
      this.#onLeave();
      return;
    }
    this.#lone = isLoneModifier(event) ? event.code : '';
    // A lone Alt or Meta would open the browser's menu.
    if (event.key === 'Alt' || event.key === 'Meta') event.preventDefault();
    if (event.isComposing || event.key === 'Process') return;
    // The accent goes onto the next character in the text field.
    if (composes && this.characters && event.key === 'Dead') return;
    const stroke = keystrokeOf(event, { mac: this.#mac, characters: this.characters });
    if (!stroke) return;
    if (stroke.text !== undefined && composes) return;
    if (!this.#leavesDefault(event)) event.preventDefault();
    const mods = { ...stroke.mods, ...this.#chosenModifiers() };
    if (stroke.code) {
      this.#held.set(event.code, stroke.code);
      this.#send({ type: 'keyDown', code: stroke.code, mods });
    } else if (stroke.press) {
      this.#send({ type: 'key_press', code: stroke.press, mods });
    } else {
      this.#send({ type: 'type_text', text: stroke.text });
    }
  }

  #up(event) {
    const isLone = event.code !== '' && event.code === this.#lone;
    // Some systems report no release of keys that go up while Meta is held.
    if (event.key === 'Meta') this.releaseAll();
    if (isLone && this.#isActive()) this.#send({ type: 'key_press', code: event.code, mods: NO_MODIFIERS });
    this.#lone = '';
    const code = this.#held.get(event.code);
    if (!code) return;
    this.#held.delete(event.code);
    event.preventDefault();
    this.#send({ type: 'keyUp', code, mods: modifiersOf(event, { mac: this.#mac }) });
  }
}

function isLoneModifier({ code, altKey, ctrlKey, metaKey, shiftKey }) {
  return LONE_MODIFIERS.has(code) && !ctrlKey && !shiftKey && !(altKey && metaKey);
}

export function isMac() {
  return /mac|iphone|ipad/i.test(navigator.userAgentData?.platform ?? navigator.platform ?? '');
}
