// Everything with which the viewer works on the picture: mouse, fingers, keys, texts.

import { byId, make } from '../shell/dom.js';
import { focusNextRegion } from '../shell/regions.js';
import { pageShortcut } from './chords.js';
import { KeyStrip } from './key-strip.js';
import { KeyboardForwarder, isMac } from './keyboard.js';
import { addKeysMenu } from './keys-menu.js';
import { PointerForwarder } from './pointer.js';
import { TextField } from './text-field.js';
import { TouchInput } from './touch.js';

const BY_CHARACTER = 'keys.characters';

export class Input {
  #app;
  #stage;
  #keyboard;
  #pointer;
  #touch;
  #text;
  #field;
  #typeCard = null;

  // `view`: the PictureView, `displays`: the DisplaysView, `gate`: the InputGate on the way to the host.
  constructor(app, stage, video, { view, displays, gate }) {
    this.#app = app;
    this.#stage = stage;
    const send = (message, options) => gate.send(message, options);
    const isActive = () => app.control.active;
    const leavesDefault = (event) => app.clipboardSync.startPaste(event);
    const strip = new KeyStrip(stage.parentElement, { send, onClose: () => this.#hideKeyboard() });
    const chosenModifiers = () => strip.takeModifiers();
    this.#keyboard = new KeyboardForwarder(stage, { send, isActive, leavesDefault, chosenModifiers, onLeave: () => focusNextRegion() });
    this.#keyboard.characters = app.settings.get(BY_CHARACTER, false);
    this.#pointer = new PointerForwarder(stage, video, { send, isActive });
    this.#touch = new TouchInput(stage, { pointer: this.#pointer, view, isActive });
    view.onMoved = (x, y) => this.#pointer.follow(x, y);
    this.#addField();
    this.#makeRoomForKeyboard();
    this.#text = new TextField(this.#field, { send, isActive, strip });
    addKeysMenu(app, {
      send,
      characters: (on) => this.#setCharacters(on),
      typeText: () => this.#openTypeCard(),
      keyboard: () => this.#text.focus({ keyboard: true }),
      help: async () => (await import('./help-card.js')).showHelp(() => app.returnToScreen()),
    }, () => this.#keyboard.characters);
    byId('touch-keyboard-button').addEventListener('click', () => this.#text.focus({ keyboard: true }));
    app.on('control', (state) => (byId('touch-keyboard-button').disabled = state !== 'on'));
    window.addEventListener('keydown', (event) => this.#shortcut(event, view, displays), { capture: true });
  }

  // The keyboard focus, for what is to be typed on the host.
  focus() {
    if (this.#keyboard.characters) this.#text.focus({ keyboard: false });
    else this.#stage.focus({ preventScroll: true });
  }

  // Releases what the host regards as down.
  releaseAll() {
    this.#touch.cancel();
    this.#keyboard.releaseAll();
    this.#pointer.releaseAll();
  }

  #addField() {
    this.#field = make('textarea', 'typing-field');
    this.#field.id = 'typing-field';
    this.#field.rows = 1;
    this.#field.tabIndex = -1;
    for (const [name, value] of [['aria-label', 'Keys for the host'], ['autocomplete', 'off'], ['autocorrect', 'off'],
      ['autocapitalize', 'none'], ['spellcheck', 'false'], ['inputmode', 'none']]) {
      this.#field.setAttribute(name, value);
    }
    this.#stage.append(this.#field);
    // A click on the picture leaves the keyboard focus there.
    this.#stage.addEventListener('mousedown', (event) => {
      if (document.activeElement === this.#field && this.#app.control.active) event.preventDefault();
    });
    this.#stage.addEventListener('focus', () => {
      if (this.#keyboard.characters && this.#app.control.active) this.#text.focus({ keyboard: false });
    });
  }

  #hideKeyboard() {
    this.#field.blur();
    this.focus();
  }

  // Not every browser makes the page smaller when its keyboard covers a part of it.
  #makeRoomForKeyboard() {
    const { visualViewport } = window;
    if (!visualViewport) return;
    visualViewport.addEventListener('resize', () => {
      const covered = document.activeElement === this.#field && visualViewport.scale === 1;
      document.body.style.height = covered ? `${visualViewport.height}px` : '';
    });
  }

  #setCharacters(on) {
    this.#keyboard.characters = on;
    this.#app.settings.set(BY_CHARACTER, on);
    this.#app.returnToScreen();
  }

  async #openTypeCard() {
    const { TypeCard } = await import('./type-card.js');
    this.#typeCard ??= new TypeCard(this.#app, this.#stage.parentElement);
    this.#typeCard.open();
  }

  #shortcut(event, view, displays) {
    const wanted = pageShortcut(event, { mac: isMac() });
    if (!wanted) return;
    event.preventDefault();
    event.stopPropagation();
    if (wanted.display !== undefined) displays.choose(wanted.display);
    else if (wanted.displayStep) displays.step(wanted.displayStep);
    else if (wanted.size !== undefined) view.setSize(wanted.size);
    else if (wanted.zoom) view.step(wanted.zoom);
    else view.pan(...wanted.pan);
  }
}
