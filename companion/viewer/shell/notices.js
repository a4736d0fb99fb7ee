// Things the viewer should know, above the screen. One of a kind at a time.

import { byId, make } from './dom.js';

const PERMISSIONS = {
  accessibility: 'The host has not been allowed to move the pointer and type. Ask the person at the host to permit it.',
  screen_recording: 'The host has not been allowed to record its screen. Ask the person at the host to permit it.',
};

const MAX_NAME = 60;

export class Notices {
  #shown = new Map();
  #dismissed = new Set();
  #shownOnce = new Set();
  #lasting = new Set();

  // A host repeats the notice while the permission is missing; once dismissed it stays away.
  permission(name) {
    if (typeof name !== 'string') return;
    const isKnown = Object.hasOwn(PERMISSIONS, name);
    const text = isKnown ? PERMISSIONS[name] : `The host lacks a permission: ${name.slice(0, MAX_NAME)}`;
    this.#show(isKnown ? `permission ${name}` : 'permission', text);
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
    if (this.#dismissed.has(key)) return;
    const shown = this.#shown.get(key)?.querySelector('p');
    if (shown) {
      if (shown.textContent !== text) shown.textContent = text;
      return;
    }
    const notice = make('div', 'notice');
    const close = make('button', 'notice-close', '\u00d7');
    close.type = 'button';
    close.setAttribute('aria-label', 'Dismiss');
    close.addEventListener('click', () => {
      this.#dismissed.add(key);
      const next = (notice.nextElementSibling ?? notice.previousElementSibling)?.querySelector('button') ?? byId('stage');
      if (document.activeElement === close) next.focus({ preventScroll: true });
      this.remove(key);
    });
    notice.append(make('p', '', text), close);
    this.#shown.set(key, notice);
    byId('notices').append(notice);
  }
}
