// Saves a file where the browser keeps its downloads.

// How long the browser may take to read the content.
const READ_TIME_MS = 60000;

export function saveFile(name, type, ...parts) {
  const url = URL.createObjectURL(new Blob(parts, { type }));
  const link = document.createElement('a');
  link.href = url;
  link.download = name;
  // Firefox follows only links that are in the document.
  link.hidden = true;
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(url), READ_TIME_MS);
}
