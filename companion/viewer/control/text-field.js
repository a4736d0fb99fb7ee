// An invisible text field on the picture: keyboards on a screen, input methods and dead keys need one. What arrives in
// it is typed on the host.

import { NO_MODIFIERS, chordKeyOf, codeOfCharacter } from './keys.js';
import { pieces } from './typing.js';

// The host's limit for a message, in code points.
const MAX_TEXT = 4000;
// Without something to delete, keyboards on a screen do not report Backspace.
const FILLING = '\u200b\u200b';

const DELETIONS = new Map([
  ['deleteContentBackward', ['Backspace', {}]],
  ['deleteContentForward', ['Delete', {}]],
  ['deleteWordBackward', ['Backspace', { ctrl: true }]],
  ['deleteWordForward', ['Delete', { ctrl: true }]],
  ['deleteSoftLineBackward', ['Backspace', { ctrl: true }]],
]);

export class TextField {
  #field;
  #send;
  #isActive;
  #strip;
  #keyboard = false;

  // `field`: the textarea; send(message) reaches the host reliably; `strip`: a KeyStrip, shown with the keyboard of a
  // touch screen.
  constructor(field, { send, isActive, strip }) {
    this.#field = field;
    this.#send = send;
    this.#isActive = isActive;
    this.#strip = strip;
    field.addEventListener('focus', () => {
      this.#clear();
      strip.show(this.#keyboard);
    });
    field.addEventListener('blur', ({ relatedTarget }) => !strip.contains(relatedTarget) && strip.show(false));
    field.addEventListener('input', (event) => !event.isComposing && this.#changed(event.inputType));
    field.addEventListener('compositionend', () => this.#changed('insertText'));
  }

  // Gives it the keyboard focus; `keyboard`: and shows the keyboard of a touch screen.
  focus({ keyboard }) {
    this.#keyboard = keyboard;
    this.#field.inputMode = keyboard ? 'text' : 'none';
    if (document.activeElement === this.#field) this.#field.blur();
    this.#field.focus({ preventScroll: true });
  }

  #changed(inputType) {
    const text = this.#field.value.replaceAll('\u200b', '');
    this.#clear();
    if (!this.#isActive()) return;
    const chosen = this.#strip.takeModifiers();
    const press = (code, more = {}) => this.#send({ type: 'key_press', code, mods: { ...NO_MODIFIERS, ...more, ...chosen } });
    const deletion = DELETIONS.get(inputType);
    // Shift alone adds nothing to a sign, which other layouts of the host have on other keys.
    const isChord = chosen && (chosen.ctrl || chosen.alt || codeOfCharacter(text));
    const chord = isChord ? chordKeyOf(text) : null;
    if (deletion) {
      press(...deletion);
    } else if (text === '\n') {
      press('Enter');
    } else if (chord) {
      press(chord.code, { shift: chord.shift });
    } else {
      for (const piece of pieces(text, MAX_TEXT)) this.#send({ type: 'type_text', text: piece });
    }
  }

  #clear() {
    this.#field.value = FILLING;
    this.#field.setSelectionRange(FILLING.length, FILLING.length);
  }
}
