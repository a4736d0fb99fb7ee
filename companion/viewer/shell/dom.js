// Small helpers around the document.

import { icon } from './icons.js';

export const byId = (id) => document.getElementById(id);

export function show(element, visible) {
  element.hidden = !visible;
}

// A new element with text that is never read as markup.
export function make(tag, className, text = '') {
  const element = document.createElement(tag);
  if (className) element.className = className;
  if (text) element.textContent = text;
  return element;
}

// A new button. `text` is shown, or, with iconName alone, is its name and its tooltip.
export function makeButton({ text, iconName = '', className = '', iconOnly = false }, onClick) {
  const button = make('button', `button ${iconOnly ? 'icon' : ''} ${className}`.trim());
  button.type = 'button';
  if (iconName) button.append(icon(iconName));
  if (iconOnly) {
    button.setAttribute('aria-label', text);
    button.title = text;
  } else {
    button.append(make('span', '', text));
  }
  button.addEventListener('click', onClick);
  return button;
}
