// Who else is in the room, and who of them sees the screen.

import { byId, show } from './dom.js';
import { Menu } from './menu.js';

export class PeopleView {
  #app;
  #menu;

  constructor(app) {
    this.#app = app;
    this.#menu = new Menu(byId('people'), 'Viewers in this room', () => this.#entries());
    app.on('people', () => this.#refresh());
  }

  // One viewer alone is nothing to tell.
  #refresh() {
    const { names } = this.#app.people;
    const isAlone = names.length <= 1;
    if (isAlone && this.#menu.isOpen) {
      this.#menu.close({ refocus: false });
      byId('stage').focus({ preventScroll: true });
      this.#app.returnToScreen();
    }
    this.#menu.update();
    show(byId('people'), !isAlone);
    byId('people').textContent = `${names.length} viewers`;
    byId('people').title = this.#entries().map(({ text, detail }) => `${text}: ${detail}`).join('\n');
  }

  #entries() {
    const { names, you } = this.#app.people;
    return names.map((name, at) => ({
      text: at === you ? `${name} (you)` : name,
      detail: at === names.length - 1 ? 'sees the screen and may control it' : 'reads and writes in the chat',
      run: () => this.#app.dock.open('chat'),
    }));
  }
}
