// What the two clipboards are known to hold, and which text is the newer one. Pure.

// Windows gives a text with "\n" back with "\r\n": the same one.
const plain = (text) => text.replaceAll('\r\n', '\n');

export class Agreement {
  // The viewer's and the host's text as last seen, see plain(); null when unknown.
  #mine = null;
  #theirs = null;
  // Whether the viewer's text was pasted, sent, or came from the host: one that was only seen may be of any age.
  #shared = false;

  // A text of the host's clipboard has come. Whether it is to be put on the viewer's: an empty one stands for anything
  // that is no text, and clears nothing.
  fromHost(text) {
    this.#theirs = plain(text);
    return text !== '' && this.#theirs !== this.#mine;
  }

  // The viewer wants `text` on the host's clipboard, or has just copied it. Whether it is to be put there: a text that
  // was shared before may be older than the host's.
  fromViewer(text) {
    const mine = plain(text);
    if (mine === '' || (mine === this.#mine && this.#shared)) return false;
    this.#mine = mine;
    this.#shared = true;
    if (mine === this.#theirs) return false;
    this.#theirs = mine;
    return true;
  }

  // The viewer's clipboard was looked at without the viewer's doing. Whether its text is a new copy, to be put on the
  // host's; of the first one that is seen nobody knows.
  seen(text) {
    const mine = plain(text);
    if (mine === this.#mine) return false;
    if (this.#mine !== null && mine !== '') return this.fromViewer(text);
    this.#mine = mine;
    this.#shared = false;
    return false;
  }

  // Whether the host has to be asked which text is newer: something may have been copied there since `text` was shared.
  isUnsure(text) {
    return this.#shared && plain(text) === this.#mine && this.#theirs === null;
  }

  // The host's text was put on the viewer's clipboard.
  written(text) {
    this.#mine = plain(text);
    this.#shared = true;
  }

  // A text of the viewer did not get through. One that a newer text has replaced does not matter.
  undelivered(text) {
    if (plain(text) !== this.#mine) return;
    this.#shared = false;
    this.#theirs = null;
  }

  // The connection has changed: what is copied on the host meanwhile is not reported.
  lose() {
    this.#theirs = null;
  }

  // Nothing is known.
  forget() {
    this.#mine = null;
    this.#theirs = null;
    this.#shared = false;
  }
}
