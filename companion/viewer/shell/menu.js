// Menus that a button opens: arrow keys, Escape, and a click elsewhere close them.

import { make, show } from './dom.js';

const GAP = 6;

export class Menu {
  #button;
  #list;
  #entries;
  #replacing = false;

  // entries(): the menu's content at each opening, an array of
  //   {text, detail?, checked?, disabled?, run()}   an entry; `checked` (bool) makes it one of a choice
  //   {heading}                                     a title above entries
  //   {divider: true}
  constructor(button, label, entries) {
    this.#button = button;
    this.#entries = entries;
    this.#list = make('div', 'menu');
    this.#list.setAttribute('role', 'menu');
    this.#list.setAttribute('aria-label', label);
    this.#list.hidden = true;
    document.body.append(this.#list);
    button.setAttribute('aria-haspopup', 'menu');
    button.setAttribute('aria-expanded', 'false');
    button.addEventListener('click', () => (this.isOpen ? this.close() : this.open()));
    button.addEventListener('keydown', (event) => {
      if (event.key !== 'ArrowDown') return;
      event.preventDefault();
      this.open();
    });
    this.#list.addEventListener('keydown', (event) => this.#key(event));
    this.#list.addEventListener('focusout', (event) => {
      if (this.#replacing) return;
      if (!this.#list.contains(event.relatedTarget) && event.relatedTarget !== button) this.close({ refocus: false });
    });
    document.addEventListener('pointerdown', (event) => {
      if (!this.#list.contains(event.target) && !button.contains(event.target)) this.close({ refocus: false });
    });
  }

  get isOpen() {
    return !this.#list.hidden;
  }

  open() {
    this.#fill();
    // In full screen only what is inside that element is shown.
    (document.fullscreenElement ?? document.body).append(this.#list);
    show(this.#list, true);
    this.#button.setAttribute('aria-expanded', 'true');
    this.#place();
    const items = this.#items();
    (items.find((item) => item.getAttribute('aria-checked') === 'true') ?? items[0])?.focus();
  }

  close({ refocus = true } = {}) {
    if (!this.isOpen) return;
    show(this.#list, false);
    this.#button.setAttribute('aria-expanded', 'false');
    if (refocus) this.#button.focus();
  }

  // What it shows has changed: an open menu shows the new entries, with the keyboard focus at the same place.
  update() {
    if (!this.isOpen) return;
    const at = this.#items().indexOf(document.activeElement);
    this.#replacing = true;
    this.#fill();
    this.#replacing = false;
    this.#place();
    const items = this.#items();
    if (at >= 0) (items[Math.min(at, items.length - 1)] ?? this.#button).focus();
  }

  #fill() {
    this.#list.replaceChildren(...this.#entries().map((entry) => this.#element(entry)));
  }

  #element(entry) {
    if (entry.divider) return make('hr', '');
    if (entry.heading) {
      const heading = make('div', 'menu-heading', entry.heading);
      heading.setAttribute('role', 'presentation');
      return heading;
    }
    const item = make('button', 'menu-item');
    item.type = 'button';
    item.tabIndex = -1;
    item.setAttribute('role', entry.checked === undefined ? 'menuitem' : 'menuitemradio');
    if (entry.checked !== undefined) item.setAttribute('aria-checked', String(entry.checked));
    item.disabled = Boolean(entry.disabled);
    item.append(make('span', 'menu-text', entry.text));
    if (entry.detail) item.append(make('span', 'menu-detail', entry.detail));
    item.addEventListener('click', () => {
      this.close();
      entry.run();
    });
    return item;
  }

  #items() {
    return [...this.#list.querySelectorAll('.menu-item:enabled')];
  }

  #key(event) {
    const items = this.#items();
    const at = items.indexOf(document.activeElement);
    const next = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: -1 }[event.key];
    if (next !== undefined) {
      event.preventDefault();
      items.at(next % items.length)?.focus();
    } else if (event.key === 'Escape' || event.key === 'Tab') {
      event.preventDefault();
      event.stopPropagation();
      this.close();
    }
  }

  #place() {
    const anchor = this.#button.getBoundingClientRect();
    const { width } = this.#list.getBoundingClientRect();
    const left = Math.max(GAP, Math.min(anchor.left, window.innerWidth - width - GAP));
    this.#list.style.left = `${left}px`;
    this.#list.style.top = `${anchor.bottom + GAP}px`;
    this.#list.style.maxHeight = `${window.innerHeight - anchor.bottom - 2 * GAP}px`;
  }
}
