// Keeps the clipboards of viewer and host in step, when the viewer has chosen so: copies on the host arrive here, and
// the viewer's text is on the host before the keys that paste it.

import { mayReadSilently, writeOwnText } from './access.js';
import { Agreement } from './agreement.js';

// How long the keys wait for the text that they paste.
const MAX_HOLD_MS = 5000;
// A browser that reports no paste within this time has nothing to paste.
const NO_PASTE_MS = 500;

const TOO_LARGE = 'The text on your clipboard is longer than the 10 MiB that can be sent. It was not pasted.';
const SLOW = 'The text on your clipboard is still on its way to the host. Paste again in a moment.';
const NO_TEXT = 'There is no text on your clipboard: what the host pasted is its own. Files can be dropped on the picture.';
const HINT = 'That pasted what is on the host’s clipboard. To paste your own text there, keep both clipboards in step: see “Clipboard”.';

// Whether a key press is the viewer's "paste": browsers decide by the character, not by the key's position.
export function isPasteKey({ key, ctrlKey, metaKey, altKey, repeat }) {
  return (ctrlKey || metaKey) && !altKey && !repeat && key.toLowerCase() === 'v';
}

export class ClipboardSync {
  #app;
  #gate;
  #on = false;
  #agreement = new Agreement();
  // The host's text that could not be put on the viewer's clipboard yet, or null.
  #pending = null;
  // Pastes that the browser has not reported yet, each a function that takes the text, or null for none.
  #pastes = [];
  // The outcome of the viewer's text that is on its way to the host, or null.
  #sending = null;
  #listeners = new Set();

  // `stage`: the element of the picture; `gate`: what holds back the input.
  constructor(app, stage, gate) {
    this.#app = app;
    this.#gate = gate;
    app.on('clipboard', (content) => this.#received(content));
    app.on('reliable', () => {
      this.#agreement.lose();
      this.#offerMine();
    });
    // A browser may report it at the body: nothing can be selected in the picture.
    window.addEventListener('paste', (event) => this.#pasted(event));
    stage.addEventListener('focus', () => this.#offerMine());
    window.addEventListener('focus', () => {
      this.#writePending();
      this.#offerMine();
    });
    // Where the browser wants a key or a click before it lets the page write.
    for (const name of ['pointerup', 'keydown']) window.addEventListener(name, () => this.#writePending(), true);
    if (this.always) this.set(true);
  }

  get on() {
    return this.#on;
  }

  // Whether it is switched on at every visit with this browser.
  get always() {
    return this.#app.settings.get('clipboard.sync', false);
  }

  // Whether a text of the host waits for the viewer's next key or click.
  get waits() {
    return this.#pending !== null;
  }

  // listener() after each change of the above.
  onChange(listener) {
    this.#listeners.add(listener);
  }

  set(on, always = this.always) {
    this.#app.settings.set('clipboard.sync', on && always);
    if (on !== this.#on) {
      this.#on = on;
      this.#pending = null;
      this.#agreement.forget();
      this.#app.clipboard.watch(on);
      this.#offerMine({ chosen: true });
      if (on) this.#app.notices.remove('paste hint');
    }
    this.#changed();
  }

  // The host's clipboard was set to `text`, which need not be on the viewer's; `mine`: it was taken from there.
  sent(text, { mine }) {
    if (mine) this.#agreement.fromViewer(text);
    this.#agreement.fromHost(text);
    this.#drop();
  }

  // The viewer has taken the host's text.
  taken(text) {
    this.#agreement.written(text);
    this.#drop();
  }

  // Called with a key press on the picture before it is sent. Whether the browser is to handle it as well: it then
  // reports the text that is pasted.
  startPaste(event) {
    if (!this.#app.ready || !isPasteKey(event)) return false;
    if (!this.#on) {
      this.#hint();
      return false;
    }
    const text = new Promise((resolve) => {
      this.#pastes.push(resolve);
      setTimeout(() => {
        this.#pastes = this.#pastes.filter((each) => each !== resolve);
        resolve(null);
      }, NO_PASTE_MS);
    });
    this.#gate.hold(async () => {
      const pasted = await text;
      if (pasted === null) return true;
      if (await this.#isWanted(pasted)) this.#send(pasted);
      return this.#sending ? this.#inTime(this.#sending) : true;
    });
    return true;
  }

  // Whether a pasted text is to be put on the host's clipboard. A newer copy of the host is pasted instead, and comes to
  // the viewer; where the host holds no text, none is lost.
  async #isWanted(text) {
    if (!this.#agreement.isUnsure(text)) return this.#agreement.fromViewer(text);
    if ((await this.#app.clipboard.settled()) !== '') return false;
    this.#agreement.fromHost(text);
    return true;
  }

  // Once for all visits.
  #hint() {
    if (this.#app.settings.get('clipboard.hint', false)) return;
    this.#app.settings.set('clipboard.hint', true);
    this.#app.notices.showOnce('paste hint', HINT);
  }

  #pasted(event) {
    const take = this.#pastes.shift();
    if (!take) return;
    event.preventDefault();
    const text = event.clipboardData.getData('text/plain');
    if (!text && event.clipboardData.types.length > 0) this.#app.notices.showOnce('paste no text', NO_TEXT);
    take(text || null);
  }

  // Whether the host's desktop has the text in time that is on its way; what else happens is said in a notice.
  async #inTime(sending) {
    const { notices } = this.#app;
    let late = false;
    const sent = sending.then((outcome) => {
      if (outcome === 'too-large') notices.show('paste', TOO_LARGE);
      else if (late) notices.remove('paste');
      return outcome === 'set';
    });
    const timeout = new Promise((resolve) => {
      setTimeout(() => resolve('late'), MAX_HOLD_MS);
    });
    const first = await Promise.race([sent, timeout]);
    if (first !== 'late') return first;
    late = true;
    notices.show('paste', SLOW);
    return false;
  }

  // Puts the viewer's text on the host's clipboard.
  #send(text) {
    const sending = this.#deliver(text).finally(() => {
      if (this.#sending === sending) this.#sending = null;
    });
    this.#sending = sending;
  }

  // Resolves when the text is there.
  async #deliver(text) {
    const outcome = await this.#app.clipboard.set(text);
    if (outcome === 'set') await this.#app.clipboard.settled();
    else this.#agreement.undelivered(text);
    return outcome;
  }

  #received({ text }) {
    if (!this.#on || text === undefined) return;
    this.#pending = this.#agreement.fromHost(text) ? text : null;
    this.#writePending();
    this.#changed();
  }

  // A page that is in the background may not write.
  async #writePending() {
    const text = this.#pending;
    if (text === null || !document.hasFocus()) return;
    if (!(await writeOwnText(text)) || this.#pending !== text) return;
    this.#agreement.written(text);
    this.#pending = null;
    this.#changed();
  }

  // Without a question to the viewer, and only where the page may read the clipboard anyway. `chosen`: the viewer wants
  // the text there; else it has to be a new copy.
  async #offerMine({ chosen = false } = {}) {
    if (!this.#on || !this.#app.ready || this.waits || !document.hasFocus() || !(await mayReadSilently())) return;
    const text = await navigator.clipboard.readText().catch(() => null);
    if (text === null || !this.#on || this.#pastes.length > 0) return;
    if (chosen ? this.#agreement.fromViewer(text) : this.#agreement.seen(text)) this.#send(text);
  }

  #drop() {
    this.#pending = null;
    this.#changed();
  }

  #changed() {
    for (const listener of this.#listeners) listener();
  }
}
