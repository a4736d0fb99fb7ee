// Puts a text on the viewer's own clipboard.

// Whether that worked. Where a page may not write to the clipboard directly, as over plain HTTP, a selection is copied.
export async function copyText(text) {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return copySelected(text);
  }
}

function copySelected(text) {
  const focused = document.activeElement;
  const field = document.createElement('textarea');
  field.className = 'visually-hidden';
  field.setAttribute('aria-hidden', 'true');
  field.value = text;
  // What is outside of an open modal dialog cannot be selected.
  (focused?.closest('dialog') ?? document.body).append(field);
  field.select();
  try {
    return document.execCommand('copy');
  } catch {
    return false;
  } finally {
    field.remove();
    focused?.focus({ preventScroll: true });
  }
}
