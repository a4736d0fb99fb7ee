// Keys that a browser or the viewer's own system keeps for itself: what the menu of keys sends. And the page's own
// shortcuts. Pure.

import { ACTUAL, FIT } from '../picture/layout.js';
import { NO_MODIFIERS, modifiersOf } from './keys.js';

const key = (text, detail, code, ...mods) => ({
  text,
  detail,
  message: {
    type: 'key_press',
    code,
    mods: { ...NO_MODIFIERS, ...Object.fromEntries(mods.map((name) => [name, true])) },
  },
});

export const HOST_KEYS = [
  key('Alt + Tab', 'Previous window', 'Tab', 'alt'),
  key('Super', 'Overview or menu', 'MetaLeft'),
  key('Alt + F4', 'Close the window', 'F4', 'alt'),
  key('Ctrl + Alt + T', 'Terminal', 'KeyT', 'ctrl', 'alt'),
  key('Ctrl + W', 'Close the tab', 'KeyW', 'ctrl'),
  key('Ctrl + T', 'New tab', 'KeyT', 'ctrl'),
  key('Ctrl + N', 'New window', 'KeyN', 'ctrl'),
  key('Print Screen', 'Screenshot', 'PrintScreen'),
  key('Escape', '', 'Escape'),
  key('F6', '', 'F6'),
  key('F11', 'Full screen there', 'F11'),
];

// Shortcuts of the page are Ctrl+Alt+Shift with a key, which browsers do not use. Some desktops keep the arrows of these;
// the pointer at the edge does the same.
const PAGE_KEYS = new Map([
  ['PageUp', { displayStep: -1 }],
  ['PageDown', { displayStep: 1 }],
  ['Digit0', { size: FIT }],
  ['Backspace', { size: ACTUAL }],
  ['Equal', { zoom: 1 }],
  ['Minus', { zoom: -1 }],
  ['NumpadAdd', { zoom: 1 }],
  ['NumpadSubtract', { zoom: -1 }],
  ['ArrowLeft', { pan: [-1, 0] }],
  ['ArrowRight', { pan: [1, 0] }],
  ['ArrowUp', { pan: [0, -1] }],
  ['ArrowDown', { pan: [0, 1] }],
  ...Array.from({ length: 9 }, (_, index) => [`Digit${index + 1}`, { display: index }]),
]);

// What a key event asks the page for: {display} from 0, {displayStep}, {size}, {zoom} or {pan}; else null. AltGr is not
// Ctrl+Alt, although Windows reports it like that. options: those of modifiersOf().
export function pageShortcut(event, options) {
  const { ctrl, alt, shift, meta } = modifiersOf(event, options);
  return ctrl && alt && shift && !meta ? (PAGE_KEYS.get(event.code) ?? null) : null;
}

export const SHORTCUT_PREFIX = 'Ctrl+Alt+Shift+';
