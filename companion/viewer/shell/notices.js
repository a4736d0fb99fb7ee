// Things the viewer should know, above the screen. One of a kind at a time.

import { byId, make } from './dom.js';

const PERMISSIONS = {
  accessibility: 'The host has not been allowed to move the pointer and type. Ask the person at the host to permit it.',
  screen_recording: 'The host has not been allowed to record its screen. Ask the person at the host to permit it.',
};

export class Notices {
  #shown = new Map();
  #dismissed = new Set();
  #shownOnce = new Set();
  #lasting = new Set();

  // A host repeats the notice while the permission is missing; once dismissed it stays away.
  permission(name) {
    const text = Object.hasOwn(PERMISSIONS, name) ? PERMISSIONS[name] : `The host lacks a permission: ${name}`;
    this.#show(`permission ${name}`, text);
  }

  // lasting: it is not about the connection, so it stays when that ends.
  show(key, text, { lasting = false } = {}) {
    this.#dismissed.delete(key);
    if (lasting) this.#lasting.add(key);
    this.#show(key, text);
  }

  // Shows it at most once until the page is reloaded.
  showOnce(key, text) {
    if (this.#shownOnce.has(key)) return;
    this.#shownOnce.add(key);
    this.#show(key, text);
  }

  remove(key) {
    this.#shown.get(key)?.remove();
    this.#shown.delete(key);
    this.#lasting.delete(key);
  }

  // Removes the notices about a connection that has ended.
  clear() {
    for (const key of [...this.#shown.keys()]) if (!this.#lasting.has(key)) this.remove(key);
    this.#dismissed.clear();
  }

  #show(key, text) {
    if (this.#shown.has(key) || this.#dismissed.has(key)) return;
    const notice = make('div', 'notice');
    const close = make('button', 'notice-close', '\u00d7');
    close.type = 'button';
    close.setAttribute('aria-label', 'Dismiss');
    close.addEventListener('click', () => {
      this.#dismissed.add(key);
      this.remove(key);
    });
    notice.append(make('p', '', text), close);
    this.#shown.set(key, notice);
    byId('notices').append(notice);
  }
}
