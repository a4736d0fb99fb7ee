// The panels beside the picture, one at a time, and the rail of buttons that opens them.

import { byId, make, show } from './dom.js';
import { icon } from './icons.js';

const MIN_WIDTH = 260;
const DEFAULT_WIDTH = 340;
// What the picture keeps at least.
const MIN_PICTURE = 320;
const KEY_STEP = 20;

// A panel: {id, title, icon, width?, load()}. load() resolves to a module with mount(body, app), which fills the
// panel's body when it is opened for the first time, and may return {shown(), hidden()}.
export class Dock {
  #app;
  #settings;
  #panels = new Map();
  #open = null;
  #onChange;

  // onChange(id or null): a panel has opened, or the last one closed.
  constructor(app, settings, onChange) {
    this.#app = app;
    this.#settings = settings;
    this.#onChange = onChange;
    byId('dock-close').addEventListener('click', () => this.close());
    byId('dock').addEventListener('keydown', (event) => {
      if (event.key !== 'Escape' || event.defaultPrevented || event.isComposing) return;
      event.preventDefault();
      this.close();
    });
    this.#initResizer(byId('dock-resizer'));
    window.addEventListener('resize', () => this.#open && this.#applyWidth());
  }

  get openPanel() {
    return this.#open;
  }

  add(definition) {
    const button = make('button', 'button icon rail-button');
    button.type = 'button';
    button.id = `${definition.id}-button`;
    button.setAttribute('aria-controls', 'dock');
    button.append(icon(definition.icon));
    const badge = make('span', 'badge');
    badge.hidden = true;
    button.append(badge);
    button.addEventListener('click', () => this.toggle(definition.id));
    byId('rail').append(button);
    const body = make('div', 'panel-body');
    body.id = `${definition.id}-panel`;
    body.hidden = true;
    byId('dock-bodies').append(body);
    this.#panels.set(definition.id, { ...definition, button, badge, body, mounting: null, view: null });
    this.#label(definition.id, '');
    button.setAttribute('aria-expanded', 'false');
  }

  toggle(id) {
    if (this.#open === id) this.close();
    else this.open(id);
  }

  // Opens a panel and resolves when it is filled.
  async open(id, { focus = true } = {}) {
    const panel = this.#panels.get(id);
    if (!panel) return;
    if (this.#open !== id) {
      this.#hideOpen();
      this.#open = id;
      byId('dock-title').textContent = panel.title;
      show(panel.body, true);
      show(byId('dock'), true);
      panel.button.setAttribute('aria-expanded', 'true');
      this.#applyWidth();
      this.#onChange(id);
    }
    await this.mount(id);
    if (this.#open !== id) return;
    panel.view?.shown?.();
    if (focus && !byId('dock').contains(document.activeElement)) focusFirst(panel.body);
  }

  close() {
    const id = this.#open;
    if (!id) return;
    const focused = byId('dock').contains(document.activeElement);
    this.#hideOpen();
    show(byId('dock'), false);
    if (focused) this.#panels.get(id).button.focus();
    this.#onChange(null);
  }

  // Fills a panel before it is opened.
  mount(id) {
    const panel = this.#panels.get(id);
    panel.mounting ??= this.#load(panel);
    return panel.mounting;
  }

  // What is new in a panel, for the badge on its button: a number, or a short text; 0 or "" for nothing. `name` says
  // it for the button's name, such as "2 new".
  setBadge(id, value, name = '') {
    const { badge } = this.#panels.get(id);
    badge.textContent = typeof value === 'number' && value > 99 ? '99+' : String(value);
    show(badge, Boolean(value));
    this.#label(id, value ? name : '');
  }

  async #load(panel) {
    try {
      const module = await panel.load();
      panel.body.replaceChildren();
      panel.view = (await module.mount(panel.body, this.#app)) ?? null;
    } catch (error) {
      // The next opening tries again: the server may have been away. Firefox keeps to its failure until a reload.
      panel.mounting = null;
      panel.body.replaceChildren(make('p', 'panel-hint', 'This panel could not be loaded. Close it and open it again; if that does not help, reload the page.'));
      reportError(error);
    }
  }

  #label(id, suffix) {
    const { button, title } = this.#panels.get(id);
    const label = suffix ? `${title}, ${suffix}` : title;
    button.setAttribute('aria-label', label);
    button.title = label;
  }

  #hideOpen() {
    const panel = this.#panels.get(this.#open);
    this.#open = null;
    if (!panel) return;
    show(panel.body, false);
    panel.button.setAttribute('aria-expanded', 'false');
    panel.view?.hidden?.();
  }

  #initResizer(handle) {
    handle.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      event.preventDefault();
      handle.setPointerCapture(event.pointerId);
    });
    handle.addEventListener('pointermove', (event) => {
      if (handle.hasPointerCapture(event.pointerId)) this.#setWidth(byId('dock').getBoundingClientRect().right - event.clientX);
    });
    handle.addEventListener('dblclick', () => this.#setWidth(this.#panels.get(this.#open)?.width ?? DEFAULT_WIDTH));
    handle.addEventListener('keydown', (event) => {
      const step = { ArrowLeft: KEY_STEP, ArrowRight: -KEY_STEP }[event.key];
      if (!step) return;
      event.preventDefault();
      this.#setWidth(byId('dock').getBoundingClientRect().width + step);
    });
  }

  #setWidth(width) {
    if (!this.#open) return;
    this.#settings.set(`width.${this.#open}`, Math.round(limited(width)));
    this.#applyWidth();
  }

  #applyWidth() {
    const wanted = this.#settings.get(`width.${this.#open}`, this.#panels.get(this.#open).width ?? DEFAULT_WIDTH);
    const width = limited(wanted);
    byId('dock').style.width = `${width}px`;
    const handle = byId('dock-resizer');
    handle.setAttribute('aria-valuenow', String(Math.round(width)));
    handle.setAttribute('aria-valuemin', String(MIN_WIDTH));
    handle.setAttribute('aria-valuemax', String(Math.round(limited(Infinity))));
  }
}

function limited(width) {
  return Math.max(MIN_WIDTH, Math.min(width, window.innerWidth - MIN_PICTURE));
}

function focusFirst(body) {
  const first = body.querySelector('[data-focus-first]:enabled') ??
    [...body.querySelectorAll(':is(input, textarea, select, button):enabled')].find((element) => element.checkVisibility());
  (first ?? byId('dock-close')).focus();
}
