// The keys that the host knows, by the position they have on the keyboard.

const LETTERS = [...'ABCDEFGHIJKLMNOPQRSTUVWXYZ'].map((letter) => `Key${letter}`);
const DIGITS = [...'0123456789'].map((digit) => `Digit${digit}`);

export const KNOWN_CODES = new Set([
  ...LETTERS,
  ...DIGITS,
  'Enter', 'NumpadEnter', 'Escape', 'Tab', 'Backspace', 'Space',
  'ArrowLeft', 'ArrowRight', 'ArrowDown', 'ArrowUp',
  'Equal', 'Minus', 'BracketLeft', 'BracketRight', 'Quote', 'Semicolon', 'Backslash',
  'Comma', 'Slash', 'Period',
]);

export const NO_MODIFIERS = Object.freeze({ shift: false, ctrl: false, alt: false, meta: false });

export function modifiersOf(event) {
  return { shift: event.shiftKey, ctrl: event.ctrlKey, alt: event.altKey, meta: event.metaKey };
}
