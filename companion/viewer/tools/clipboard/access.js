// The viewer's own clipboard, as far as the browser lets the page have it.

// Why the page cannot use the clipboard by itself; empty when it can. Browsers give it to secure pages only.
export function clipboardObstacle() {
  if (navigator.clipboard) return '';
  return window.isSecureContext
    ? 'This browser gives pages no access to the clipboard.'
    : 'The browser gives its clipboard only to pages of this computer and to those with https.';
}

// The viewer's text; throws an Error whose message says why there is none.
export async function readOwnText() {
  if (!navigator.clipboard?.readText) throw new Error(`${clipboardObstacle()} Paste the text into the field instead.`.trim());
  try {
    return await navigator.clipboard.readText();
  } catch (error) {
    // Also an image, where the browser does not say so by an empty text.
    if (error.name === 'NotAllowedError') {
      throw new Error('The browser did not allow it. Permit it in the address bar, or paste the text into the field instead.');
    }
    throw new Error('There is no text on your clipboard.');
  }
}

// Whether the page may read the clipboard without a question; browsers that always ask do not know the permission.
export async function mayReadSilently() {
  if (!navigator.clipboard?.readText) return false;
  try {
    return (await navigator.permissions.query({ name: 'clipboard-read' })).state === 'granted';
  } catch {
    return false;
  }
}

// Whether `text` is now on the viewer's clipboard.
export async function writeOwnText(text) {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return false;
  }
}
