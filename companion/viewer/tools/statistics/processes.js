// The host's busiest processes.

import { icon } from '../../shell/icons.js';
import { make, show } from '../../shell/dom.js';
import { bytesText, percentText } from './units.js';

export class ProcessList {
  #rows = new Map();
  #body = make('tbody');
  #none = make('p', 'panel-note', 'The host has not named any processes yet.');
  #reason = make('p', 'panel-note');
  #table = make('table', 'processes');
  #allowed = false;
  #open;

  // open({pid, name}): shows the process in the host's process monitor.
  constructor(open) {
    this.#open = open;
    this.#reason.id = 'processes-reason';
    const head = make('tr');
    for (const [text, className] of [['Process', ''], ['CPU', 'number'], ['Memory', 'number']]) {
      const cell = make('th', className, text);
      cell.scope = 'col';
      head.append(cell);
    }
    const last = make('th');
    last.scope = 'col';
    last.append(make('span', 'visually-hidden', 'Process monitor'));
    head.append(last);
    const thead = make('thead');
    thead.append(head);
    this.#table.append(thead, this.#body);
    this.element = make('div', 'process-list');
    this.element.append(this.#none, this.#table, this.#reason);
    this.show([]);
  }

  // reason: why the process monitor cannot be opened; empty when it can.
  setAllowed(reason) {
    this.#allowed = !reason;
    this.#reason.textContent = reason;
    show(this.#reason, Boolean(reason) && this.#rows.size > 0);
    for (const { button } of this.#rows.values()) this.#enable(button);
  }

  show(processes) {
    const gone = new Set(this.#rows.keys());
    for (const each of processes) {
      gone.delete(each.pid);
      const row = this.#rows.get(each.pid) ?? this.#add(each.pid);
      const title = [`Process ${each.pid}`, each.exe].filter(Boolean).join(' · ');
      setText(row.name, each.name);
      row.name.title = title;
      setText(row.cpu, each.cpuPct === null ? '–' : percentText(each.cpuPct));
      setText(row.memory, each.rssBytes === null ? '–' : bytesText(each.rssBytes));
      const label = `Show ${each.name} (${each.pid}) in the process monitor`;
      if (row.button.getAttribute('aria-label') !== label) {
        row.button.setAttribute('aria-label', label);
        row.button.title = label;
      }
      row.process = each;
    }
    for (const pid of gone) {
      this.#rows.get(pid).element.remove();
      this.#rows.delete(pid);
    }
    // Rows stay where they are while one of them is about to be used.
    if (!this.#body.matches(':hover, :focus-within')) this.#order(processes);
    show(this.#none, processes.length === 0);
    show(this.#table, processes.length > 0);
    show(this.#reason, !this.#allowed && processes.length > 0);
  }

  #add(pid) {
    const element = make('tr');
    const name = make('th', 'process-name');
    name.scope = 'row';
    const cpu = make('td', 'number');
    const memory = make('td', 'number');
    const last = make('td', 'process-open');
    const button = make('button', 'button icon quiet');
    button.type = 'button';
    button.append(icon('statistics'));
    button.addEventListener('click', () => {
      if (this.#allowed) this.#open(this.#rows.get(pid).process);
    });
    this.#enable(button);
    last.append(button);
    element.append(name, cpu, memory, last);
    this.#body.append(element);
    const row = { element, name, cpu, memory, button, process: null };
    this.#rows.set(pid, row);
    return row;
  }

  #enable(button) {
    button.disabled = !this.#allowed;
    if (this.#allowed) button.removeAttribute('aria-describedby');
    else button.setAttribute('aria-describedby', this.#reason.id);
  }

  #order(processes) {
    processes.forEach(({ pid }, at) => {
      const { element } = this.#rows.get(pid);
      const there = this.#body.children[at] ?? null;
      if (there !== element) this.#body.insertBefore(element, there);
    });
  }
}

function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}
