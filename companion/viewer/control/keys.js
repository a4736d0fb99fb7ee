// The keys that the host knows, by the position they have on the keyboard, and what a key event of a browser means to
// it. Pure functions.

const LETTERS = [...'ABCDEFGHIJKLMNOPQRSTUVWXYZ'].map((letter) => `Key${letter}`);
const DIGITS = [...'0123456789'].map((digit) => `Digit${digit}`);
const FUNCTION_KEYS = Array.from({ length: 24 }, (_, index) => `F${index + 1}`);
const KEYPAD = [...'0123456789', 'Decimal', 'Add', 'Subtract', 'Multiply', 'Divide', 'Equal', 'Comma'].map(
  (key) => `Numpad${key}`,
);

// Sent as keyDown and keyUp.
export const KNOWN_CODES = new Set([
  ...LETTERS,
  ...DIGITS,
  'Enter', 'NumpadEnter', 'Escape', 'Tab', 'Backspace', 'Space',
  'ArrowLeft', 'ArrowRight', 'ArrowDown', 'ArrowUp',
  'Equal', 'Minus', 'BracketLeft', 'BracketRight', 'Quote', 'Semicolon', 'Backslash',
  'Comma', 'Slash', 'Period',
]);

// Sent as key_press, which is down and up in one. Caps Lock and Num Lock are left out: their effect is in the
// characters that the viewer's own keyboard gives.
export const PRESS_CODES = new Set([
  ...FUNCTION_KEYS,
  ...KEYPAD,
  'Delete', 'Insert', 'Home', 'End', 'PageUp', 'PageDown', 'Backquote', 'IntlBackslash', 'IntlRo', 'IntlYen',
  'ContextMenu', 'PrintScreen', 'Pause', 'ScrollLock',
]);

export const NO_MODIFIERS = Object.freeze({ shift: false, ctrl: false, alt: false, meta: false });

// Keys of a keypad without Num Lock that have another name.
const KEYPAD_NAMES = new Map([['Clear', 'Numpad5']]);

// What Option types on European layouts of a Mac, and what nobody uses it for otherwise.
const OPTION_CHARACTERS = new Set([...'@[]{}|\\~#€`^\'"$&<>']);

// Whether the event types one character; not the first half of one (a dead key).
export function isPrintable(key) {
  const [first, ...rest] = key ?? '';
  return first !== undefined && rest.length === 0 && first >= ' ' && first !== '\x7f';
}

// The key of a letter or digit on most keyboards, for shortcuts; '' for other texts.
export function codeOfCharacter(text) {
  if (/^[a-z]$/i.test(text)) return `Key${text.toUpperCase()}`;
  if (/^[0-9]$/.test(text)) return `Digit${text}`;
  return text === ' ' ? 'Space' : '';
}

// By key: what it types alone and with Shift.
const SIGNS = {
  Backquote: '`~', Minus: '-_', Equal: '=+', BracketLeft: '[{', BracketRight: ']}', Backslash: '\\|', Semicolon: ';:',
  Quote: '\'"', Comma: ',<', Period: '.>', Slash: '/?',
  ...Object.fromEntries([...')!@#$%^&*('].map((sign, digit) => [`Digit${digit}`, `${digit}${sign}`])),
};

// The key that types `text` on a US keyboard, {code, shift}, for a chord with a keyboard that names no positions; null
// when it has none. Letters are without Shift: keyboards on a screen begin with a capital.
export function chordKeyOf(text) {
  const code = codeOfCharacter(text);
  if (code) return { code, shift: false };
  const found = text.length === 1 ? Object.entries(SIGNS).find(([, signs]) => signs.includes(text)) : undefined;
  return found ? { code: found[0], shift: found[1].indexOf(text) === 1 } : null;
}

// The modifiers of an event as the host is to see them. With `mac`, Option is Alt.
export function modifiersOf(event, { mac = false } = {}) {
  const altgr = !mac && (event.getModifierState?.('AltGraph') ?? false);
  // Windows reports AltGr as Ctrl and Alt together.
  const doubled = altgr && event.ctrlKey && event.altKey;
  return {
    shift: event.shiftKey,
    ctrl: event.ctrlKey && !doubled,
    alt: event.altKey && !doubled,
    meta: event.metaKey,
    ...(altgr ? { altgr } : {}),
  };
}

// What to send for a key that goes down: {code, mods} for keyDown, {press, mods} for key_press, {text} for type_text,
// or null for a key that is not the host's. options.mac: the viewer's system is macOS; options.characters: keys that type
// a character are sent as the character, for layouts that differ.
export function keystrokeOf(event, options = {}) {
  const { code, key } = event;
  const mods = modifiersOf(event, options);
  const printable = isPrintable(key);
  const option = options.mac && mods.alt && !mods.ctrl && !mods.meta;
  const chord = mods.ctrl || mods.alt || mods.meta;
  if (options.characters && printable && key !== ' ' && (!chord || option)) return { text: key };
  // The viewer's layout is another one: the shortcut is that of the letter, not of its position.
  if (options.characters && printable && codeOfCharacter(key)) return { code: codeOfCharacter(key), mods };
  if (option && OPTION_CHARACTERS.has(key)) return { text: key };
  if (event.getModifierState?.('CapsLock') && printable && !chord && !mods.altgr) {
    // Some layouts have capitals or digits there that Shift does not give.
    if (DIGITS.includes(code)) return { text: key };
    if (key.toLowerCase() !== key.toUpperCase()) mods.shift = key !== key.toLowerCase();
  }
  if (KNOWN_CODES.has(code)) return { code, mods };
  // What these keys do depends on Num Lock, which the viewer and the host have each of their own.
  if (/^Numpad([0-9]|Decimal)$/.test(code)) {
    if (printable && !chord) return { text: key };
    const name = KEYPAD_NAMES.get(key) ?? key;
    if (KNOWN_CODES.has(name) || PRESS_CODES.has(name)) return { press: name, mods };
  }
  if (PRESS_CODES.has(code)) return { press: code, mods };
  // Keyboards on a screen and of phones name no position.
  if (KNOWN_CODES.has(key) || PRESS_CODES.has(key)) return { press: key, mods };
  if (printable && !chord) return { text: key };
  return null;
}
