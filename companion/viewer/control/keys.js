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

// Whether the key types a character that it has only with AltGr. The host knows positions and four modifiers, AltGr not
// among them: sent without it, the key would type something else.
export function needsAltGraph(event) {
  if (!event.getModifierState?.('AltGraph') || event.key === ' ') return false;
  return event.key === 'Dead' || [...event.key].length === 1;
}

export const NO_MODIFIERS = Object.freeze({ shift: false, ctrl: false, alt: false, meta: false });

export function modifiersOf(event) {
  return { shift: event.shiftKey, ctrl: event.ctrlKey, alt: event.altKey, meta: event.metaKey };
}
