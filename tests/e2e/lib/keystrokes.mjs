// What a viewer sends for a text.

/// The messages of a US keyboard for a text of letters, digits, blanks and a few signs.
export function keystrokes(text) {
  const signs = { ' ': 'Space', '\n': 'Enter', '-': 'Minus', '=': 'Equal', ',': 'Comma', '.': 'Period', '/': 'Slash', ';': 'Semicolon' };
  const shifted = { '!': 'Digit1', '?': 'Slash', ':': 'Semicolon', '+': 'Equal', _: 'Minus' };
  return [...text].flatMap((character) => {
    const shift = /[A-Z]/.test(character) || character in shifted;
    const code = shifted[character] ?? signs[character] ??
      (/\d/.test(character) ? `Digit${character}` : `Key${character.toUpperCase()}`);
    const mods = { shift, ctrl: false, alt: false, meta: false };
    return [{ type: 'keyDown', code, mods }, { type: 'keyUp', code, mods }];
  });
}
