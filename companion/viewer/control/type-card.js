// "Type a text": a text that the host types where its keyboard focus is. The card leaves the picture in sight and in
// use.

import { make, makeButton, show } from '../shell/dom.js';
import { TextTyping, lengthOf } from './typing.js';

const MAX_LENGTH = 100000;

const number = (value) => value.toLocaleString('en');

const REFUSALS = new Map([
  ['desktop unavailable', 'the desktop of the host is not available at the moment'],
  ['too many', 'the host still types other texts. Try again in a moment'],
]);

// What there is to type, for the line below the field. `active`: the viewer is in control.
export function countText(length, active) {
  const count = `${number(length)} ${length === 1 ? 'character' : 'characters'}`;
  if (length > MAX_LENGTH) return `${count}: at most ${number(MAX_LENGTH)} can be typed. Send the text as a file or by the clipboard.`;
  if (!active) return 'Take control to type.';
  return length === 0 ? 'Typed where the host has its cursor.' : count;
}

// What the state of a typing means to the viewer, see TextTyping.
export function resultText({ state, typed, length, reason }) {
  const count = `${number(typed)} of ${number(length)} characters`;
  switch (state) {
    case 'busy':
      return `Typing… ${count}`;
    case 'done':
      return typed < length ? `Typed ${count}; the host could not type the others.` : `Typed ${count}.`;
    case 'refused':
      return `Typed ${count}; then ${REFUSALS.get(reason) ?? `the host said: ${reason}`}.`;
    case 'silent':
      return `Typed ${count}; the host does not answer. It may be too old for this: use the clipboard instead.`;
    case 'stopping':
      return `Stopping… ${count}`;
    case 'stopped':
      return `Stopped after ${count}.`;
    default:
      return `Typed ${count}; then control ended. Take control and type the rest.`;
  }
}

export class TypeCard {
  #app;
  #typing;
  #card = make('form', 'card type-card');
  #text = make('textarea', '');
  #count = make('p', 'panel-note');
  #result = make('p', 'panel-note');
  #submit = make('button', 'button primary', 'Type it');
  #stop;
  // Of the last text, see TextTyping.
  #progress = null;

  constructor(app, parent) {
    this.#app = app;
    const send = (message) => app.control.active && app.send(message);
    this.#typing = new TextTyping(send, (progress) => this.#show(progress));
    app.on('message', (message) => message.type === 'text_typed' && this.#typing.receive(message));
    app.on('control', (state) => {
      if (state !== 'on') this.#typing.lose();
      this.#refresh();
    });
    this.#fill();
    parent.append(this.#card);
    this.#refresh();
  }

  open() {
    show(this.#card, true);
    if (this.#typing.busy) this.#result.textContent = resultText(this.#progress);
    this.#text.focus();
    this.#text.select();
  }

  #close() {
    this.#typing.stop();
    // What was typed may be a password.
    this.#text.value = '';
    this.#result.textContent = '';
    this.#refresh();
    show(this.#card, false);
    this.#app.returnToScreen();
  }

  #fill() {
    this.#card.id = 'type-card';
    this.#card.hidden = true;
    this.#card.autocomplete = 'off';
    this.#card.setAttribute('role', 'dialog');
    this.#card.setAttribute('aria-label', 'Type a text on the host');
    const head = make('div', 'type-head');
    const label = make('label', '', 'Type a text on the host');
    label.htmlFor = 'type-text';
    const look = { text: 'Close', iconName: 'close', iconOnly: true, className: 'quiet' };
    head.append(label, makeButton(look, () => this.#close()));
    this.#text.id = 'type-text';
    this.#text.rows = 4;
    this.#text.spellcheck = false;
    this.#text.setAttribute('aria-describedby', 'type-count');
    this.#text.addEventListener('input', () => this.#refresh());
    this.#count.id = 'type-count';
    this.#result.id = 'type-result';
    this.#result.setAttribute('role', 'status');
    this.#submit.type = 'submit';
    this.#stop = makeButton({ text: 'Stop' }, () => this.#typing.stop());
    const buttons = make('div', 'panel-row type-buttons');
    buttons.append(this.#count, this.#stop, this.#submit);
    this.#card.append(head, this.#text, this.#result, buttons);
    this.#card.addEventListener('submit', (event) => {
      event.preventDefault();
      if (!this.#submit.disabled) this.#typing.start(this.#text.value);
    });
    this.#card.addEventListener('keydown', (event) => {
      if (event.key === 'Escape' && !event.isComposing) {
        event.preventDefault();
        this.#close();
      } else if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) {
        event.preventDefault();
        this.#card.requestSubmit();
      }
    });
  }

  #show(progress) {
    this.#progress = progress;
    // Of a text that was closed nobody wants to know later.
    this.#result.textContent = this.#card.hidden ? '' : resultText(progress);
    const isGood = ['busy', 'done', 'stopping', 'stopped'].includes(progress.state);
    this.#result.classList.toggle('bad', !isGood || (progress.state === 'done' && progress.typed < progress.length));
    this.#refresh();
  }

  #refresh() {
    const length = lengthOf(this.#text.value);
    const { active } = this.#app.control;
    const tooLong = length > MAX_LENGTH;
    this.#count.textContent = countText(length, active);
    this.#count.classList.toggle('bad', tooLong);
    this.#text.setAttribute('aria-invalid', String(tooLong));
    const { busy } = this.#typing;
    const losesFocus = document.activeElement === (busy ? this.#submit : this.#stop);
    show(this.#stop, busy);
    show(this.#submit, !busy);
    this.#submit.disabled = !active || length === 0 || tooLong;
    this.#text.readOnly = busy;
    if (losesFocus) (busy ? this.#stop : this.#text).focus();
  }
}
