// Links in what people write.

const LINK = /(?:https?:\/\/|www\.)[^\s<>"'`\u0000-\u001f\u007f]+/giu;
// What ends a sentence rather than a link.
const TRAILING = /[.,;:!?\u2026]+$/u;
const BRACKETS = { ')': '(', ']': '[', '}': '{' };

// The text in pieces, in order: {text} and {text, href}. Pure.
export function withLinks(text) {
  const pieces = [];
  let at = 0;
  for (const match of text.matchAll(LINK)) {
    const link = trimmed(match[0]);
    const href = address(link);
    if (!href) continue;
    if (match.index > at) pieces.push({ text: text.slice(at, match.index) });
    pieces.push({ text: link, href });
    at = match.index + link.length;
  }
  if (at < text.length) pieces.push({ text: text.slice(at) });
  return pieces;
}

// Without the punctuation after it, and without a closing bracket that was opened before it.
function trimmed(link) {
  for (;;) {
    let shorter = link.replace(TRAILING, '');
    const last = shorter.at(-1);
    const opening = BRACKETS[last];
    if (opening && count(shorter, last) > count(shorter, opening)) shorter = shorter.slice(0, -1);
    if (shorter === link) return link;
    link = shorter;
  }
}

const count = (text, character) => text.split(character).length - 1;

function address(link) {
  try {
    const url = new URL(/^www\./i.test(link) ? `https://${link}` : link);
    return url.protocol === 'http:' || url.protocol === 'https:' ? url.href : null;
  } catch {
    return null;
  }
}
