// What the two clipboards are known to hold, and which text is the newer one. Pure.

export class Agreement {
  // The viewer's and the host's text as last seen; null when unknown.
  #mine = null;
  #theirs = null;
  // Whether the viewer's text was pasted, sent, or came from the host: one that was only seen may be of any age.
  #shared = false;

  // A text of the host's clipboard has come. Whether it is to be put on the viewer's: an empty one stands for anything
  // that is no text, and clears nothing.
  fromHost(text) {
    this.#theirs = text;
    return text !== '' && text !== this.#mine;
  }

  // The viewer wants `text` on the host's clipboard, or has just copied it. Whether it is to be put there: a text that
  // was shared before may be older than the host's.
  fromViewer(text) {
    if (text === '' || (text === this.#mine && this.#shared)) return false;
    this.#mine = text;
    this.#shared = true;
    if (text === this.#theirs) return false;
    this.#theirs = text;
    return true;
  }

  // The viewer's clipboard was looked at without the viewer's doing. Whether its text is a new copy, to be put on the
  // host's; of the first one that is seen nobody knows.
  seen(text) {
    if (text === this.#mine) return false;
    if (this.#mine !== null && text !== '') return this.fromViewer(text);
    this.#mine = text;
    this.#shared = false;
    return false;
  }

  // Whether the host has to be asked which text is newer: something may have been copied there since `text` was shared.
  isUnsure(text) {
    return this.#shared && text === this.#mine && this.#theirs === null;
  }

  // The host's text was put on the viewer's clipboard.
  written(text) {
    this.#mine = text;
    this.#shared = true;
  }

  // The viewer's text did not get through.
  undelivered() {
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
