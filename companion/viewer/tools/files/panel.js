// The panel of files that are sent to the host.

import { make, makeButton, show } from '../../shell/dom.js';
import { MAX_WAITING, fileQueue, isEnded } from './queue.js';
import { entryText, refusalText } from './words.js';

const BAD = new Set(['failed', 'short']);
const CAN_REPEAT = new Set(['failed', 'short', 'cancelled']);

export function mount(body, app) {
  const queue = fileQueue(app);
  const rows = new Map();
  const list = make('ul', 'file-list');
  list.setAttribute('aria-label', 'Files of this session');
  const empty = make('p', 'panel-hint', 'No files were sent in this session.');
  const chooser = choose(app, queue);
  const bar = actions(app, queue);
  const announcer = make('p', 'visually-hidden');
  announcer.setAttribute('role', 'status');

  const refresh = () => {
    for (const [entry, row] of rows) {
      if (queue.entries.includes(entry)) continue;
      row.element.remove();
      rows.delete(entry);
    }
    const focused = list.contains(document.activeElement) ? document.activeElement : null;
    let below = null;
    for (const entry of inOrder(queue.entries).reverse()) {
      const row = rows.get(entry) ?? new Row(entry, queue);
      rows.set(entry, row);
      if (!row.element.isConnected || row.element.nextElementSibling !== below) list.insertBefore(row.element, below);
      below = row.element;
    }
    // An element that is moved loses the focus.
    if (focused && focused !== document.activeElement) focused.focus();
    show(empty, queue.entries.length === 0);
    show(list, queue.entries.length > 0);
    bar.refresh();
  };
  queue.onChange((entry) => {
    if (!entry) return refresh();
    const row = rows.get(entry);
    if (row?.refresh()) {
      announcer.textContent = `${entry.name}: ${entryText(entry)}`;
      refresh();
    }
    bar.refresh();
  });
  body.append(chooser, bar.element, empty, list, announcer);
  refresh();
}

// What is still to be sent, in its order, then what has ended, the last one on top.
function inOrder(entries) {
  return [...entries.filter((entry) => !isEnded(entry)), ...entries.filter(isEnded).reverse()];
}

function choose(app, queue) {
  const section = make('div', 'panel-section');
  const input = make('input', '');
  input.type = 'file';
  input.multiple = true;
  input.hidden = true;
  input.setAttribute('aria-label', 'Files to send');
  const refusal = make('p', 'panel-note bad');
  refusal.setAttribute('role', 'status');
  const offline = make('p', 'panel-note', 'Not connected: files wait here and go when the host is there.');
  const tell = (counts) => {
    refusal.textContent = refusalText(counts, MAX_WAITING);
    show(refusal, Boolean(refusal.textContent));
  };
  input.addEventListener('change', () => {
    tell({ refused: queue.add([...input.files]) });
    input.value = '';
  });
  app.on('files-refused', tell);
  // Files that were copied in a file manager.
  document.getElementById('files-panel').addEventListener('paste', ({ clipboardData }) => {
    if (clipboardData.files.length > 0) tell({ refused: queue.add([...clipboardData.files]) });
  });
  const zone = make('div', 'drop-zone');
  const button = makeButton({ text: 'Choose files…', iconName: 'send', className: 'primary' }, () => input.click());
  button.dataset.focusFirst = '';
  zone.append(button, make('p', 'panel-note', 'or drop them here or on the picture, or paste them here'));
  const place = 'They go to the Downloads folder of the host. If a name is taken there, the new file gets a number.';
  section.append(zone, input, make('p', 'panel-note', place), offline, refusal);
  const showReady = (ready) => show(offline, !ready);
  app.on('reliable', showReady);
  showReady(app.ready);
  tell({});
  return section;
}

// What concerns several files.
function actions(app, queue) {
  const element = make('div', 'panel-row file-actions');
  const summary = make('p', 'panel-note file-summary');
  const cancel = makeButton({ text: 'Cancel all', className: 'quiet' }, () => queue.cancelAll());
  const clear = makeButton({ text: 'Clear finished', className: 'quiet' }, () => {
    queue.clearEnded();
    document.querySelector('#files-panel [data-focus-first]').focus();
  });
  element.append(summary, cancel, clear);
  const refresh = () => {
    const { entries } = queue;
    const active = queue.active.length;
    summary.textContent = active > 0 ? `${active} to send` : `${entries.filter(({ state }) => state === 'saved').length} sent`;
    app.dock.setBadge('files', active, `${active} to send`);
    show(element, entries.length > 0);
    show(cancel, active > 1);
    show(clear, active < entries.length);
  };
  return { element, refresh };
}

class Row {
  #entry;
  #queue;
  #name;
  #bar;
  #fill;
  #text;
  #action;
  #state = '';

  constructor(entry, queue) {
    this.#entry = entry;
    this.#queue = queue;
    this.element = make('li', 'file-row');
    this.#name = make('span', 'file-name', entry.name);
    this.#name.title = entry.name;
    this.#action = makeButton({ text: 'Cancel', iconName: 'close', iconOnly: true, className: 'quiet' }, () => queue.cancel(entry));
    this.again = makeButton({ text: 'Send again', iconName: 'refresh', iconOnly: true, className: 'quiet' }, () => queue.retry(entry));
    for (const button of [this.#action, this.again]) {
      button.setAttribute('aria-label', `${button.title}: ${entry.name}`);
    }
    const head = make('div', 'file-head');
    head.append(this.#name, this.again, this.#action);
    this.#bar = make('div', 'file-bar');
    this.#bar.setAttribute('role', 'progressbar');
    this.#bar.setAttribute('aria-label', entry.name);
    this.#bar.setAttribute('aria-valuemin', '0');
    this.#bar.setAttribute('aria-valuemax', '100');
    this.#fill = make('div', 'file-fill');
    this.#bar.append(this.#fill);
    this.#text = make('p', 'panel-note file-text');
    this.element.append(head, this.#bar, this.#text);
    this.refresh();
  }

  // Whether the file has come to its end since the last time.
  refresh() {
    const entry = this.#entry;
    const { state, left, size } = entry;
    const text = entryText(entry);
    if (this.#text.textContent !== text) this.#text.textContent = text;
    const percent = size > 0 ? Math.min(100, Math.floor((left / size) * 100)) : state === 'finishing' ? 100 : 0;
    this.#fill.style.width = `${percent}%`;
    this.#bar.setAttribute('aria-valuenow', String(percent));
    this.#bar.setAttribute('aria-valuetext', text);
    if (state === this.#state) return false;
    this.#state = state;
    this.element.dataset.state = state;
    this.#text.classList.toggle('bad', BAD.has(state));
    const focused = document.activeElement === this.#action;
    show(this.#bar, ['starting', 'sending', 'finishing'].includes(state));
    show(this.#action, !isEnded(entry));
    show(this.again, CAN_REPEAT.has(state));
    if (focused && isEnded(entry)) {
      (this.again.hidden ? document.querySelector('#files-panel [data-focus-first]') : this.again).focus();
    }
    return isEnded(entry);
  }
}
