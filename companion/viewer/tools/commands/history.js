// What was run in this session, newest first, with the output.

import { copyText } from '../../shell/copy.js';
import { make, makeButton, show } from '../../shell/dom.js';
import { icon } from '../../shell/icons.js';

export class History {
  #list = make('ol', 'run-list');
  #entries = new Map();

  constructor() {
    this.element = make('section', 'panel-section');
    this.element.append(make('h3', '', 'In this session'), this.#list);
    show(this.element, false);
  }

  // A run that is new or has another state; `runs`: all that are kept, newest first.
  show(run, runs) {
    show(this.element, true);
    const entry = this.#entries.get(run.number) ?? make('details', '');
    if (!entry.isConnected) {
      this.#entries.set(run.number, entry);
      const item = make('li', '');
      item.append(entry);
      this.#list.prepend(item);
    }
    entry.className = `run ${run.state}`;
    entry.replaceChildren(summary(run), ...content(run));
    this.#forget(new Set(runs.map(({ number }) => number)));
  }

  open(run) {
    const entry = this.#entries.get(run.number);
    if (!entry) return;
    entry.open = true;
    entry.scrollIntoView({ block: 'nearest' });
    entry.querySelector('summary').focus({ preventScroll: true });
  }

  #forget(kept) {
    for (const [number, entry] of this.#entries) {
      if (kept.has(number)) continue;
      entry.parentElement.remove();
      this.#entries.delete(number);
    }
  }
}

export function timeElement(ms) {
  const at = new Date(ms);
  const time = make('time', '', at.toLocaleTimeString([], { hour: '2-digit', minute: '2-digit' }));
  time.dateTime = at.toISOString();
  return time;
}

function summary(run) {
  const line = make('summary', '');
  const mark = run.state === 'running' ? make('span', 'spinner') : icon(run.state === 'ok' ? 'check' : 'warning');
  mark.setAttribute('aria-hidden', 'true');
  const words = make('span', 'run-words', run.words);
  const title = make('span', 'run-title', run.command.title);
  line.append(mark, title, timeElement(run.at), words);
  return line;
}

function content(run) {
  if (run.state === 'running') return [];
  const outputs = [
    ['Output', run.stdout],
    ['Errors', run.stderr],
  ].filter(([, text]) => text);
  if (outputs.length === 0) return [make('p', 'panel-note', run.state === 'ok' ? 'It printed nothing.' : 'No output.')];
  const copy = makeButton({ text: 'Copy', iconName: 'copy', className: 'small' }, async () => {
    const done = await copyText(outputs.map(([, text]) => text).join('\n'));
    copy.querySelector('span').textContent = done ? 'Copied' : 'Not copied: your browser did not allow it';
  });
  copy.setAttribute('aria-live', 'polite');
  return [
    ...outputs.flatMap(([name, text]) => {
      const box = make('pre', 'run-output', text);
      box.tabIndex = 0;
      box.setAttribute('role', 'group');
      box.setAttribute('aria-label', `${name} of: ${run.command.title}`);
      return [make('h4', '', name), box];
    }),
    copy,
  ];
}
