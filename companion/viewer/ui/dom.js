// Small helpers around the document.

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
