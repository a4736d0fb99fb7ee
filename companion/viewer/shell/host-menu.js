// The host at the left of the tool bar: what it is called, and what can be done with its room.

import { FULL, Hosts } from '../start/hosts.js';
import { copyText } from './copy.js';
import { byId, make } from './dom.js';
import { Menu } from './menu.js';

const MAX_NAME = 80;

export class HostMenu {
  #app;
  #hosts;
  // What the host calls itself; empty while none is there.
  #hostName = '';

  constructor(app) {
    this.#app = app;
    this.#hosts = new Hosts(app.settings);
    this.#hosts.opened(app.room);
    new Menu(byId('host-button'), 'This host', () => this.#entries());
    app.on('message', ({ type, hostName }) => {
      if (type === 'host_stats' && typeof hostName === 'string') this.#setHostName(hostName.slice(0, MAX_NAME));
    });
    app.on('connection', ({ state }) => state === 'waiting' && this.#setHostName(''));
    this.#refresh();
  }

  #setHostName(name) {
    if (name === this.#hostName) return;
    this.#hostName = name;
    this.#refresh();
  }

  #refresh() {
    const alias = this.#hosts.find(this.#app.room)?.name;
    const title = alias ?? this.#hostName;
    byId('host-name').textContent = title;
    byId('room-name').textContent = this.#app.room;
    byId('host-button').setAttribute('aria-label', ['Host', title, this.#app.room].filter(Boolean).join(' '));
    document.title = `${title || this.#app.room} · Vantora Viewer`;
  }

  #entries() {
    const known = this.#hosts.find(this.#app.room);
    return [
      { text: known ? 'Rename in my hosts…' : 'Keep in my hosts…', run: () => this.#askForName(known) },
      ...(known ? [{ text: 'Remove from my hosts', run: () => this.#remove() }] : []),
      { text: 'Copy the address of this page', run: () => this.#copyAddress() },
      { divider: true },
      { text: 'Leave, to my hosts', run: () => location.assign('./') },
    ];
  }

  #askForName(known) {
    const dialog = make('dialog', 'dialog');
    const form = make('form', 'dialog-form');
    form.method = 'dialog';
    const label = make('label', '', 'Name of this host');
    const input = make('input', '');
    input.maxLength = MAX_NAME;
    input.value = known?.name ?? this.#hostName;
    label.append(input);
    const buttons = make('div', 'panel-row dialog-buttons');
    const cancel = make('button', 'button', 'Cancel');
    cancel.type = 'button';
    cancel.addEventListener('click', () => dialog.close());
    const save = make('button', 'button primary', 'Keep');
    save.type = 'submit';
    buttons.append(cancel, save);
    const note = make('p', 'panel-note', 'Kept in this browser only, with the room.');
    note.setAttribute('role', 'status');
    form.append(label, note, buttons);
    form.addEventListener('submit', (event) => {
      if (!this.#hosts.name(this.#app.room, input.value)) {
        event.preventDefault();
        note.textContent = `${FULL} Remove one on the page of your hosts first.`;
        note.classList.add('bad');
        return;
      }
      this.#hosts.opened(this.#app.room);
      this.#refresh();
    });
    dialog.append(form);
    dialog.addEventListener('close', () => {
      dialog.remove();
      byId('host-button').focus();
    });
    document.body.append(dialog);
    dialog.showModal();
    input.select();
  }

  #remove() {
    this.#hosts.remove(this.#app.room);
    this.#refresh();
  }

  async #copyAddress() {
    const url = new URL(location.pathname, location.origin);
    url.searchParams.set('room', this.#app.room);
    const copied = await copyText(url.href);
    const text = copied ? 'The address of this page is on your clipboard.' : `Your browser did not allow that. The address is: ${url.href}`;
    this.#app.notices.show('address', text);
  }
}
