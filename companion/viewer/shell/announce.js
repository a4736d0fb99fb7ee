// Says something that a screen reader reads aloud and that others see elsewhere on the page.

import { make } from './dom.js';

let region = null;

export function announce(text) {
  if (!region) {
    region = make('div', 'visually-hidden');
    region.id = 'announcer';
    region.setAttribute('role', 'status');
    document.body.append(region);
  }
  region.textContent = text;
}
