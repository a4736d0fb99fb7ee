// A command in the list: what it does, its button, and the state of its newest run.

import { make, makeButton, show } from '../../shell/dom.js';
import { icon } from '../../shell/icons.js';
import { timeElement } from './history.js';

const ICONS = { ok: 'check', failed: 'warning', refused: 'warning', silent: 'warning', lost: 'warning' };

export class CommandRow {
  #command;
  #actions;
  #button;
  #state = make('div', 'command-state');
  #confirm = null;
  #run = null;
  #access = { allowed: false, locked: true };

  // actions.run(), actions.output(run): shows the output of a run, actions.askForPin()
  constructor(command, actions) {
    this.#command = command;
    this.#actions = actions;
    this.element = make('li', 'command');
    this.element.dataset.command = command.id;
    const text = make('div', 'command-text');
    const what = make('p', 'panel-note', command.what);
    what.id = `command-${command.id}-what`;
    text.append(make('h4', '', command.title), what);
    this.#button = makeButton({ text: 'Run' }, () => this.#pressed());
    this.#button.setAttribute('aria-label', `Run: ${command.title}`);
    this.#button.setAttribute('aria-describedby', what.id);
    this.element.append(text, this.#button, this.#state);
    show(this.#state, false);
  }

  // `allowed`: whether commands can be run; `locked`: whether the PIN has not been given.
  setAccess(access) {
    this.#access = access;
    if (!access.allowed) this.#cancel();
    this.#refresh();
  }

  show(run) {
    this.#run = run;
    this.#refresh();
  }

  #pressed() {
    if (this.#run?.state === 'running') return;
    if (!this.#command.confirm) this.#actions.run();
    else if (!this.#confirm) this.#ask();
  }

  #ask() {
    const { question, action } = this.#command.confirm;
    const box = make('div', 'command-confirm');
    box.setAttribute('role', 'group');
    box.setAttribute('aria-label', `Confirm: ${this.#command.title}`);
    const text = make('p', '', question);
    text.id = `command-${this.#command.id}-question`;
    const go = makeButton({ text: action, className: 'primary' }, () => {
      this.#cancel();
      this.#button.focus();
      this.#actions.run();
    });
    go.setAttribute('aria-describedby', text.id);
    const cancel = makeButton({ text: 'Cancel' }, () => {
      this.#cancel();
      this.#button.focus();
    });
    const buttons = make('div', 'panel-row');
    buttons.append(go, cancel);
    box.append(text, buttons);
    box.addEventListener('keydown', (event) => {
      if (event.key !== 'Escape') return;
      event.preventDefault();
      cancel.click();
    });
    this.#confirm = box;
    this.#refresh();
    this.element.append(box);
    go.focus();
  }

  #cancel() {
    this.#confirm?.remove();
    this.#confirm = null;
    this.#refresh();
  }

  #refresh() {
    const run = this.#run;
    const busy = run?.state === 'running';
    this.#button.disabled = !this.#access.allowed;
    // Stays where the keyboard focus is while the command runs.
    this.#button.setAttribute('aria-disabled', String(busy));
    this.element.classList.toggle('busy', busy);
    show(this.#button, !this.#confirm);
    show(this.#state, Boolean(run) && !this.#confirm);
    if (!run) return;
    this.#state.className = `command-state ${run.state}`;
    const mark = busy ? make('span', 'spinner') : icon(ICONS[run.state]);
    mark.setAttribute('aria-hidden', 'true');
    const words = make('p', '');
    words.append(busy ? 'Running on the host…' : run.words);
    if (run.state === 'refused') words.append(' ', this.#wayOn());
    words.append(' ', timeElement(run.at));
    if (run.stdout || run.stderr) {
      const output = makeButton({ text: 'Output', className: 'small' }, () => this.#actions.output(run));
      output.setAttribute('aria-label', `Output of: ${this.#command.title}`);
      words.append(' ', output);
    }
    this.#state.replaceChildren(mark, words);
  }

  #wayOn() {
    if (!this.#access.locked) return make('span', '', 'Ask the person at the host to allow remote control.');
    return makeButton({ text: 'Enter the PIN', className: 'small' }, () => this.#actions.askForPin());
  }
}
