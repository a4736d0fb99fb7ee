// Says something that a screen reader reads aloud and that others see elsewhere on the page.

import { make } from './dom.js';

const region = make('div', 'visually-hidden');
region.id = 'announcer';
region.setAttribute('role', 'status');
document.body.append(region);

export function announce(text) {
  region.textContent = text;
}
