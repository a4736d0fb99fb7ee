// The chooser among the host's displays.

import { announce } from '../../shell/announce.js';
import { byId, make, show } from '../../shell/dom.js';

const MAX_DISPLAYS = 32;
const MAX_NAME = 60;
// Statistics that were under way when another display was chosen still name the old one.
const SWITCH_MS = 2000;

export class DisplaysView {
  #onChoice;
  #count = 0;
  #names = [];
  #current = 0;
  // The display before the last choice, and until when statistics of it are ignored.
  #old = { index: -1, until: 0 };

  constructor(onChoice) {
    this.#onChoice = onChoice;
    byId('display').addEventListener('change', (event) => this.choose(Number(event.target.value)));
  }

  get count() {
    return this.#count;
  }

  // Counted from 0.
  get current() {
    return this.#current;
  }

  // A desktop may have names, such as "HDMI-1".
  nameOf(index) {
    const name = this.#names[index];
    return name ? `${index + 1} of ${this.#count}: ${name}` : `Display ${index + 1} of ${this.#count}`;
  }

  // "display_info": shown only when there is something to choose.
  receive({ count, current }) {
    this.#count = Number.isInteger(count) ? Math.min(Math.max(count, 0), MAX_DISPLAYS) : 0;
    this.#list();
    this.#show(current);
    show(byId('display-field'), this.#count > 1);
  }

  #list() {
    const options = Array.from({ length: this.#count }, (_, index) => {
      const option = make('option', '', this.nameOf(index));
      option.value = String(index);
      return option;
    });
    byId('display').replaceChildren(...options);
  }

  // "host_stats": the display may be changed elsewhere.
  receiveStats({ capture, displayIndex, displayNames }) {
    this.#receiveNames(displayNames);
    if (capture !== 'screen' || (displayIndex === this.#old.index && performance.now() < this.#old.until)) return;
    if (displayIndex !== this.#current && this.#isDisplay(displayIndex)) {
      this.#show(displayIndex);
      this.#announce();
    }
  }

  #receiveNames(given) {
    const valid = Array.isArray(given) && given.length === this.#count && given.every((name) => typeof name === 'string');
    const names = valid ? given.map((name) => name.slice(0, MAX_NAME)) : [];
    if (names.join('\n') === this.#names.join('\n')) return;
    this.#names = names;
    this.#list();
    byId('display').value = String(this.#current);
  }

  choose(index) {
    if (this.#count < 2 || !this.#isDisplay(index)) return;
    this.#old = { index: this.#current, until: performance.now() + SWITCH_MS };
    this.#show(index);
    this.#announce();
    this.#onChoice(index);
  }

  // To the next (1) or the previous (-1) one, around the end.
  step(direction) {
    this.choose((this.#current + direction + this.#count) % this.#count);
  }

  reset() {
    this.#count = 0;
    this.#old.until = 0;
    show(byId('display-field'), false);
  }

  #isDisplay(index) {
    return Number.isInteger(index) && index >= 0 && index < this.#count;
  }

  #show(index) {
    this.#current = this.#isDisplay(index) ? index : 0;
    byId('display').value = String(this.#current);
  }

  #announce() {
    announce(`Showing display ${this.#current + 1} of ${this.#count}`);
  }
}
