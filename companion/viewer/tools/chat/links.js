// Links in what people write.

const LINK = /(?:https?:\/\/|www\.)[^\s<>"'`\u0000-\u001f\u007f]+/giu;
// What ends a sentence rather than a link.
const TRAILING = new Set('.,;:!?\u2026');
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

// Without the punctuation after it, and without a closing bracket that was opened before it. In one pass: what people
// write may be made to keep the page busy.
function trimmed(link) {
  const counts = new Map();
  for (const character of link) counts.set(character, (counts.get(character) ?? 0) + 1);
  let end = link.length;
  for (; end > 0; end--) {
    const last = link[end - 1];
    const opening = BRACKETS[last];
    if (!TRAILING.has(last) && !(opening && counts.get(last) > (counts.get(opening) ?? 0))) break;
    counts.set(last, counts.get(last) - 1);
  }
  return link.slice(0, end);
}

function address(link) {
  try {
    const url = new URL(/^www\./i.test(link) ? `https://${link}` : link);
    return url.protocol === 'http:' || url.protocol === 'https:' ? url.href : null;
  } catch {
    return null;
  }
}
