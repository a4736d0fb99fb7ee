// Files that are dropped on the page go to the host, wherever they land. Texts and links are for text fields, and
// nowhere else. Without this the browser would leave the session to show what was dropped.

import { make, show } from '../../shell/dom.js';

// The files of a drop, and the number of folders among what was dropped. Pure.
export function droppedFiles(transfer) {
  const items = [...transfer.items].filter(({ kind }) => kind === 'file');
  const files = [];
  let folders = 0;
  for (const item of items) {
    const file = item.webkitGetAsEntry?.()?.isDirectory ? null : item.getAsFile();
    if (file) files.push(file);
    else folders += 1;
  }
  return { files, folders };
}

const carriesFiles = (event) => Boolean(event.dataTransfer?.types.includes('Files'));

const TEXT_FIELDS = 'textarea, input:not([type=checkbox], [type=radio], [type=file], [type=button], [type=submit])';

const takesText = (element) => Boolean(element.closest?.(TEXT_FIELDS)?.matches(':enabled:read-write'));

const isForeign = (event) => !carriesFiles(event) && !takesText(event.target);

// `take({files, folders})` gets what was dropped.
export function initDrop(area, take) {
  const target = make('div', 'drop-target');
  target.append(make('p', '', 'Drop to send to the host'), make('p', 'drop-note', 'Files go to its Downloads folder.'));
  show(target, false);
  area.append(target);
  // Entering an element inside the page comes before leaving the one around it.
  let inside = null;
  const end = () => {
    inside = null;
    show(target, false);
    document.body.classList.remove('dropping');
  };
  window.addEventListener('dragenter', (event) => {
    if (isForeign(event)) event.preventDefault();
    if (!carriesFiles(event)) return;
    event.preventDefault();
    inside = event.target;
    show(target, true);
    document.body.classList.add('dropping');
  });
  window.addEventListener('dragleave', (event) => event.target === inside && end());
  window.addEventListener('dragover', (event) => {
    const files = carriesFiles(event);
    if (!files && !isForeign(event)) return;
    event.preventDefault();
    event.dataTransfer.dropEffect = files ? 'copy' : 'none';
  });
  window.addEventListener('drop', (event) => {
    if (isForeign(event)) event.preventDefault();
    if (!carriesFiles(event)) return;
    event.preventDefault();
    end();
    take(droppedFiles(event.dataTransfer));
  });
}

// Drops on the page; the panel opens to show what becomes of them.
export function initFileDrop(app, area) {
  initDrop(area, async (dropped) => {
    const { fileQueue } = await import('./queue.js');
    const refused = fileQueue(app).add(dropped.files);
    await app.dock.open('files', { focus: false });
    app.emit('files-refused', { folders: dropped.folders, refused });
  });
}
