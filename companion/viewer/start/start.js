// The page without a room: opening one by its id, and the hosts that the supporter named.

import { byId, make, makeButton, show } from '../shell/dom.js';
import { FULL, Hosts } from './hosts.js';

// From this many on a list is searched rather than read.
const SEARCH_FROM = 8;

export function showStart(element, settings) {
  document.body.dataset.connection = 'none';
  document.title = 'My hosts · Vantora Viewer';
  show(document.querySelector('main'), false);
  show(byId('bar'), false);
  const hosts = new Hosts(settings);
  const list = new HostList(hosts);
  element.append(header(), roomCard(hosts), list.element, nameCard(settings));
  show(element, true);
  list.refresh();
  byId('room').focus();
}

function header() {
  const head = make('header', 'start-head');
  const image = make('img', '');
  image.src = 'icon.svg';
  image.alt = '';
  image.width = 28;
  image.height = 28;
  head.append(image, make('h1', '', 'Vantora Viewer'));
  return head;
}

function field(id, label, attributes = {}) {
  const input = make('input', '');
  input.id = id;
  for (const [name, value] of Object.entries(attributes)) input.setAttribute(name, value);
  const caption = make('label', '', label);
  caption.htmlFor = id;
  return [caption, input];
}

function roomCard(hosts) {
  const form = make('form', 'start-card');
  form.id = 'room-card';
  form.method = 'get';
  const plain = { autocomplete: 'off', autocapitalize: 'none', spellcheck: 'false' };
  const [roomLabel, room] = field('room', 'Room', { name: 'room', required: '', maxlength: '128', ...plain });
  const [nameLabel, name] = field('room-alias', 'Keep as (optional)', { maxlength: '80', ...plain, placeholder: 'Front desk' });
  const open = make('button', 'button primary', 'Open');
  open.type = 'submit';
  const problem = make('p', 'panel-note bad');
  problem.setAttribute('role', 'status');
  form.addEventListener('submit', (event) => {
    room.value = room.value.trim();
    problem.textContent = '';
    if (!room.value || !name.value.trim() || hosts.name(room.value, name.value)) return;
    event.preventDefault();
    problem.textContent = `${FULL} Remove one, or open the room without a name.`;
  });
  form.append(make('h2', '', 'Open a room'), make('p', 'panel-note', 'Enter the room that the host shows or that you were given.'),
    roomLabel, room, nameLabel, name, problem, open);
  return form;
}

// The name that others in a room read.
function nameCard(settings) {
  const card = make('section', 'start-card');
  const [label, input] = field('viewer-name', 'Your name in the chat', { maxlength: '64', autocomplete: 'name', placeholder: 'viewer' });
  input.value = settings.get('name', '');
  input.addEventListener('change', () => settings.set('name', input.value.trim()));
  card.append(label, input, make('p', 'panel-note', 'The person at the host and other viewers see it.'));
  return card;
}

class HostList {
  #hosts;
  #list = make('ul', 'hosts');
  #empty = make('p', 'panel-note', 'None yet. Give a room a name when you open it, or later in the menu of its page. Names are kept in this browser only.');
  #search;
  element = make('section', 'start-card hosts-card');

  constructor(hosts) {
    this.#hosts = hosts;
    const [label, search] = field('host-search', 'Search', { type: 'search' });
    label.className = 'visually-hidden';
    search.placeholder = 'Search';
    search.addEventListener('input', () => this.refresh());
    this.#search = search;
    this.element.append(make('h2', '', 'My hosts'), label, search, this.#empty, this.#list);
  }

  refresh() {
    const all = this.#hosts.all;
    const wanted = this.#search.value.trim().toLowerCase();
    const found = all.filter(({ room, name }) => `${name} ${room}`.toLowerCase().includes(wanted));
    show(this.#search, all.length >= SEARCH_FROM);
    show(this.#empty, all.length === 0);
    this.#list.replaceChildren(...found.map((host) => this.#row(host)));
    if (all.length > 0 && found.length === 0) this.#list.append(make('li', 'panel-note', 'No host has such a name.'));
  }

  #row(host) {
    const row = make('li', 'host-row');
    row.dataset.room = host.room;
    const link = make('a', 'host-link');
    link.href = `?${new URLSearchParams({ room: host.room })}`;
    link.append(make('span', 'host-row-name', host.name), make('span', 'panel-note', detailOf(host)));
    const rename = makeButton({ text: `Rename ${host.name}`, iconName: 'edit', iconOnly: true, className: 'quiet' }, () => this.#edit(row, host));
    const remove = makeButton({ text: `Remove ${host.name}`, iconName: 'close', iconOnly: true, className: 'quiet' }, () => {
      this.#hosts.remove(host.room);
      this.refresh();
      byId('room').focus();
    });
    row.append(link, rename, remove);
    return row;
  }

  #endEdit({ room }) {
    this.refresh();
    [...this.#list.children].find((row) => row.dataset.room === room)?.querySelector('button').focus();
  }

  #edit(row, host) {
    const form = make('form', 'host-edit');
    const input = make('input', '');
    input.value = host.name;
    input.maxLength = 80;
    input.setAttribute('aria-label', `Name of ${host.room}`);
    const save = make('button', 'button primary', 'Save');
    save.type = 'submit';
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      this.#hosts.name(host.room, input.value);
      this.#endEdit(host);
    });
    form.addEventListener('keydown', (event) => event.key === 'Escape' && this.#endEdit(host));
    form.append(input, save);
    row.replaceChildren(form);
    input.select();
  }
}

function detailOf({ room, name, opened }) {
  const parts = [];
  if (name !== room) parts.push(room);
  parts.push(opened ? `opened ${new Date(opened).toLocaleString([], { dateStyle: 'medium', timeStyle: 'short' })}` : 'not opened yet');
  return parts.join(' · ');
}
